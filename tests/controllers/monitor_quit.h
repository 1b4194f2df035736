// Waiting on a controller monitor, which runs in a process of its own, and stopping it at the end
// of a test: nothing in the library ever stops a monitor, so a test that started one tells it to
// quit, or it would outlive the test.
#ifndef NASHAL_TESTS_CONTROLLERS_MONITOR_QUIT_H
#define NASHAL_TESTS_CONTROLLERS_MONITOR_QUIT_H

#include <sys/ipc.h>
#include <sys/msg.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "controllers/controller_frames.h"
#include "nashal/pic_sys.h"
#include "sim/fs.h"

namespace nashal::test {

// Waits for a condition that another process brings about, for at most `limit` of real time.
inline bool eventually(const std::function<bool()> &done,
                       std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    constexpr std::chrono::milliseconds kPoll(20);
    for (std::chrono::milliseconds waited(0); waited < limit; waited += kPoll) {
        if (done())
            return true;
        std::this_thread::sleep_for(kPoll);
    }
    return done();
}

// Sends the enclosure's monitor the quit request and waits until its lock link
// (/tmp/em/em_<enc>.pic or .mcu) is gone. Without a queue there is no monitor to wait for: a
// stale link a test left on purpose stays.
inline bool quit_monitor(const char *enc) {
    int32_t key = 0;
    create_msgkey(enc, &key);
    const int queue = msgget(key, 0);
    if (queue < 0)
        return true;
    PIC_REQUEST quit = {};
    quit.mtype = 1;
    quit.command = nashal::controllers::kQuitCommand;
    msgsnd(queue, &quit, sizeof quit - sizeof quit.mtype, IPC_NOWAIT);
    const std::string link = std::string("/tmp/em/em_") + enc;
    return eventually(
        [&] { return !nashal::sim::exists(link + ".pic") && !nashal::sim::exists(link + ".mcu"); });
}

}  // namespace nashal::test

#endif  // NASHAL_TESTS_CONTROLLERS_MONITOR_QUIT_H
