// The virtual clock: while an appliance is active, sleeps through the seam advance it at once,
// and time() reads it, so a 30-second wait costs nothing in a test. Events scheduled on it run
// when a sleep passes their moment (a disk that appears after 5 seconds, say).
#ifndef NASHAL_SIM_CLOCK_H
#define NASHAL_SIM_CLOCK_H

#include <cstdint>
#include <functional>

namespace nashal::sim {

// Installs the clock hooks; the clock starts at the machine's current time.
void clock_install();
void clock_uninstall();
// Virtual time in microseconds since the epoch.
int64_t clock_now_us();
// Total virtual time slept since install, in microseconds.
int64_t clock_slept_us();
void clock_advance_us(int64_t us);
// Runs fn once the virtual clock reaches now + delay_us (during a later sleep or advance).
void clock_at(int64_t delay_us, std::function<void()> fn);
// With `on`, a detached background process (a blinker: forked, a session of its own) sleeps in
// real time as well as on its virtual clock, so it neither spins a core nor races ahead of the
// world it toggles; its own clock still advances by exactly what it slept. The test process and
// its plain forked children stay on the instant clock. Off by default; halctl turns it on.
void clock_pace_background(bool on);

}  // namespace nashal::sim

#endif  // NASHAL_SIM_CLOCK_H
