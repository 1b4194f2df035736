// The enclosure controllers of the virtual appliance: a PIC or an MCU on a pseudo-terminal
// serial line (a SerialPeer), answering byte for byte as the controller does. It acknowledges
// transactions, keeps an EEPROM image (serial number, MAC addresses), reports a temperature
// every few hundred milliseconds as a live controller must, and records every command it takes,
// so a test can read each LED, fan and buzzer state and inject events (a fan alarm, a press of
// the power button). Fault knobs make it fall silent or answer wrongly.
#ifndef NASHAL_SIM_CONTROLLER_EMULATOR_H
#define NASHAL_SIM_CONTROLLER_EMULATOR_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "sim/serial_peer.h"

namespace nashal::sim {

enum class ControllerKind { Pic, Mcu };

class ControllerEmulator {
  public:
    // Serves /dev/ttyS<link> (0 or 1) in the active appliance. Null on failure.
    static std::unique_ptr<ControllerEmulator> attach(ControllerKind kind, int link);
    // Serves any device path: /dev/ttyUSB0 for the PIC of a USB expansion box.
    static std::unique_ptr<ControllerEmulator> attach(ControllerKind kind,
                                                      const std::string &device);
    ~ControllerEmulator();
    ControllerEmulator(const ControllerEmulator &) = delete;
    ControllerEmulator &operator=(const ControllerEmulator &) = delete;

    // The EEPROM image: 256 bytes, blank (0xFF) at first.
    Bytes eeprom() const;
    void set_eeprom(int offset, const Bytes &bytes);
    // Writes "SN:" and the text at the kind's serial offset, as the factory does.
    void set_serial(const std::string &serial);

    // Every single-byte command taken (beeps, LEDs, fan levels, WOL, EuP, watchdog), in order.
    Bytes commands() const;
    // The last single-byte command within [first, last], or -1.
    int last_command(uint8_t first, uint8_t last) const;
    // The names of the MCU table commands taken ("HDD_ERROR3_ON"), in order.
    std::vector<std::string> table_commands() const;
    // Transactions done, by their command byte (0xA0, 0xA1, 0xF7, 0xF8).
    int transactions(uint8_t command) const;

    // Unasked bytes on the line: an event (a fan alarm 's', the power button 0x40).
    void inject(const Bytes &bytes);
    // The temperature the controller reports between events, in degrees (0 to 100).
    void set_temperature(int degrees);
    // The value (in units of 60 rpm) a fan speed read answers.
    void set_fan_value(int fan, uint8_t value);
    // Raw bytes answering the next fan speed reads after the acknowledge (garbage frames).
    void set_fan_answer(const Bytes &bytes);

    // Faults: a silent controller sends and answers nothing; a wrong checksum spoils every
    // EEPROM read's answer; a cut answer ends an EEPROM read after this many data bytes.
    void set_silent(bool silent);
    void set_eeprom_checksum_wrong(bool wrong);
    void set_eeprom_answer_cut(int data_bytes);

    // Keeps the EEPROM image in a file: loaded now when it exists, written at every change.
    void keep_eeprom_in(const std::string &path);

    SerialPeer &peer() { return *peer_; }

  private:
    explicit ControllerEmulator(ControllerKind kind);
    Bytes take(const Bytes &frame);
    Bytes take_byte(uint8_t byte);
    void heartbeat();

    ControllerKind kind_;
    std::unique_ptr<SerialPeer> peer_;
    mutable std::mutex mutex_;
    Bytes eeprom_ = Bytes(256, 0xFF);
    Bytes commands_;
    std::vector<std::string> table_commands_;
    std::vector<uint8_t> transactions_;
    // The transaction in progress: its command byte and the bytes collected for it.
    enum class State { Idle, Attention, Collect, Table } state_ = State::Idle;
    uint8_t command_ = 0;
    Bytes collected_;
    size_t want_ = 0;
    int temperature_ = 35;
    uint8_t fan_value_[2] = {30, 31};
    Bytes fan_answer_;
    bool silent_ = false;
    bool checksum_wrong_ = false;
    int answer_cut_ = -1;
    int64_t quiet_until_us_ = 0;
    int64_t last_byte_us_ = 0;
    std::string eeprom_file_;
    std::mutex stop_mutex_;
    std::condition_variable stop_cv_;
    bool stopping_ = false;
    std::thread heartbeat_;
};

// The controller a board describes in /sim/controller.conf (docs/virtual-appliance.md), started
// in the activating process; null when the board describes none. It serves the monitors forked
// from this process for as long as the appliance stays active.
ControllerEmulator *attach_described_controller();
// The controller started from /sim/controller.conf, or null.
ControllerEmulator *described_controller();
void detach_described_controller();

}  // namespace nashal::sim

#endif  // NASHAL_SIM_CONTROLLER_EMULATOR_H
