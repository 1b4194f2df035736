// The far end of a serial line in the virtual appliance: a pseudo-terminal whose slave stands
// as /dev/ttyS0 or /dev/ttyS1 (a symbolic link), so the library's termios code runs unchanged,
// and whose master is served by a small responder thread in the test process. The responder
// sees each frame (the bytes of one burst on the wire) and answers with bytes of its choosing,
// with nothing, or with something wrong. Every byte the library sends is kept in order.
#ifndef NASHAL_SIM_SERIAL_PEER_H
#define NASHAL_SIM_SERIAL_PEER_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace nashal::sim {

using Bytes = std::vector<uint8_t>;

// Answers one frame; `number` counts the frames received so far, from 0. An empty answer is
// silence.
using SerialResponder = std::function<Bytes(const Bytes &frame, int number)>;

class SerialPeer {
  public:
    // Opens a pseudo-terminal, links its slave as /dev/ttyS<link> (0 or 1) in the active
    // appliance and starts serving. Null (with a message on stderr) on failure.
    static std::unique_ptr<SerialPeer> attach(int link, SerialResponder responder);
    // The same on any device path of the appliance: /dev/ttyUSB0 for a USB expansion box's
    // serial adapter.
    static std::unique_ptr<SerialPeer> attach(const std::string &device, SerialResponder responder);
    ~SerialPeer();
    SerialPeer(const SerialPeer &) = delete;
    SerialPeer &operator=(const SerialPeer &) = delete;

    // Writes bytes to the line unasked (a controller's report); never interleaved with an
    // answer.
    bool send(const Bytes &bytes);

    // Every byte received so far, in order of arrival.
    Bytes wire() const;
    // The frames received so far.
    std::vector<Bytes> frames() const;
    const std::string &slave_path() const { return slave_path_; }

  private:
    SerialPeer() = default;
    void serve();

    int master_ = -1;
    int slave_ = -1;  // held open so the line never hangs up between the library's opens
    int stop_[2] = {-1, -1};
    std::string slave_path_;
    std::string link_path_;
    SerialResponder responder_;
    mutable std::mutex mutex_;
    std::mutex write_mutex_;
    std::vector<Bytes> frames_;
    std::thread thread_;
};

// Responders of the two small chips.

// A CPLD that acknowledges with "U" from the frame numbered `first_acked` on (0: at once) and is
// silent before it.
SerialResponder cpld_acknowledging_from(int first_acked);
// A CPLD that answers every byte with `reply` (anything but "U" is a refusal).
SerialResponder cpld_answering(uint8_t reply);
// Never answers.
SerialResponder silent_peer();
// An MCU that answers every frame with `first`, `status` and the XOR of both, or a wrong
// checksum when `good_checksum` is false.
SerialResponder mcu_replying(uint8_t first, uint8_t status, bool good_checksum = true);

// The XOR checksum of an MCU frame or reply.
uint8_t xor_checksum(const Bytes &bytes);

}  // namespace nashal::sim

#endif  // NASHAL_SIM_SERIAL_PEER_H
