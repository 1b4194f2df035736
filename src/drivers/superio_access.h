// Configuration-space primitives shared by the per-chip files: the lock held for one operation,
// the enter and exit sequences, logical device selection, register access, and the GPIO data
// access of each chip. None of the helpers locks by itself.
#ifndef NASHAL_DRIVERS_SUPERIO_ACCESS_H
#define NASHAL_DRIVERS_SUPERIO_ACCESS_H

#include <cstdint>

#include "drivers/superio_layout.h"

namespace nashal::superio {

// The Super I/O lock for one operation. On a failed acquire it traces "System Error" with the
// operation's name and line, and converts to false; the destructor gives the lock back.
class SioLock {
  public:
    SioLock(const char *function, int line);
    ~SioLock();
    SioLock(const SioLock &) = delete;
    SioLock &operator=(const SioLock &) = delete;
    explicit operator bool() const { return held_; }

  private:
    int semaphore_id_ = -1;
    bool held_ = false;
};

// ioperm on the two configuration ports, then the chip's enter sequence.
void open_config(int chip);
void close_config(int chip);
uint8_t read_register(uint8_t reg);
void write_register(uint8_t reg, uint8_t value);
void select_device(uint8_t device);
// Read-modify-write of one register: clear `clear`, then set `set`.
void update_register(uint8_t reg, uint8_t clear, uint8_t set);

// One whole locked cycle on one register of `device`: enter, select, access, exit. -1 when the
// lock can't be taken (traced under the caller's name).
int locked_read(int chip, uint8_t device, uint8_t reg, uint8_t *value, const char *function,
                int line);
int locked_update(int chip, uint8_t device, uint8_t reg, uint8_t clear, uint8_t set,
                  const char *function, int line);

// The recovery mode a register field encodes (fields[mode] is mode's field); a field no mode
// encodes leaves *mode as it was.
inline void decode_recovery(uint8_t reg, uint8_t mask, uint8_t shift, const uint8_t (&fields)[3],
                            int32_t *mode) {
    for (int m = 0; m < 3; ++m) {
        if (fields[m] == ((reg & mask) >> shift) && mode)
            *mode = m;
    }
}

// True when the chip can address this GPIO at all: a register number that fits its index port,
// an offset inside the ports it answers, a bit of a byte. Anything else would reach some other
// port (or one the process holds no permission for, which kills it), so it is refused first.
bool gpio_address_valid(int chip, int gpio_index, int gpio_bit, const char *function, int line);

// The GPIO data access of one chip, inside the caller's lock; the base is read on first use.
// The IT87 write opens and closes its own configuration cycle (simple I/O enable).
void write_gpio_bit(int chip, int gpio_index, int gpio_bit, int value);
int read_gpio_bit(int chip, int gpio_index, int gpio_bit);

// The GPIO base of the chip, read (inside the caller's lock) when not cached yet; 0 for an
// unknown chip.
uint32_t gpio_base(int chip);

// The caches of the GPIO bases, one per chip family (the two Fintek chips share one). Tests of
// the cache read it; nothing else should.
uint32_t cached_gpio_base(int chip);

}  // namespace nashal::superio

#endif  // NASHAL_DRIVERS_SUPERIO_ACCESS_H
