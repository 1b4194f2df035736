// The four Super I/O chips at port level, each against its register model: a wrong enter key,
// a missed exit or a GPIO written to the wrong register is an LED that never lights, a button
// that never reads, or a chip left in configuration mode for the next caller.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "drivers/superio_access.h"
#include "drivers/superio_chips.h"
#include "nashal/comm_port.h"
#include "nashal/hal_trace.h"
#include "os/os_seam.h"
#include "sim/appliance.h"
#include "sim/cmos_model.h"
#include "sim/fs.h"
#include "sim/superio_model.h"

using namespace nashal::sim;
using Access = SuperIoModel::Access;

namespace {

constexpr uint16_t kBase = 0xA00;
constexpr uint16_t kChipId = 0x1234;
constexpr uint8_t kPowerIndex = 0x7E;

Access W(uint16_t port, uint8_t value) {
    return {true, port, value};
}
Access R(uint16_t port, uint8_t value) {
    return {false, port, value};
}

std::string describe(const std::vector<Access> &log) {
    std::string s;
    char buf[32];
    for (const Access &a : log) {
        snprintf(buf, sizeof buf, "%s%03x=%02x ", a.write ? "W" : "R", a.port, a.value);
        s += buf;
    }
    return s;
}

struct ChipCase {
    int chip;
    const char *name;
    // A GPIO the boards would use on this chip: register (or offset) and bit.
    int gpio_index;
    int gpio_bit;
};

const ChipCase kChips[] = {
    {0, "F71869A", 0xF1, 2},
    {1, "IT87", 2, 5},
    {2, "F81866A", 3, 4},
    {3, "NCT5523", 0xE1, 3},
};

class SuperIoChip : public ::testing::TestWithParam<ChipCase> {
  protected:
    void SetUp() override {
        write_file(app_.dir() + "/etc/model.conf",
                   std::string("[System Enclosure]\nSIO_DEVICE = ") + GetParam().name +
                       "\nPWR_RECOVERY_CMOS_STORE = 70,7E\n");
        ASSERT_TRUE(app_.activate());
        HAL_Set_Debug(HAL_TRACE_ALWAYS, "/var/log/hal_lib.log");
        cmos_ = attach_cmos(0x70, 128);
        chip_ = attach_superio(GetParam().chip, kBase, kChipId);
    }
    void TearDown() override {
        EXPECT_FALSE(chip_->in_configuration_mode()) << "a cycle was left open";
        EXPECT_EQ(chip_->broken_cycles(), 0u);
        EXPECT_EQ(chip_->unpermitted_accesses(), 0u) << "a port touched without ioperm";
    }
    int chip() const { return GetParam().chip; }

    Appliance app_ = Appliance::fresh();
    std::shared_ptr<CmosModel> cmos_;
    std::shared_ptr<SuperIoModel> chip_;
};

}  // namespace

// One whole cycle, byte for byte: the enter key, the device selection, the access, the exit.
TEST_P(SuperIoChip, ConfigurationCycleIsTheChipsOwnPortSequence) {
    const uint8_t hi = kChipId >> 8, lo = kChipId & 0xff;
    std::vector<Access> expected;
    switch (chip()) {
        case 0:
        case 2: {
            uint16_t id = 0;
            EXPECT_EQ(get_chip_id(chip(), &id), 0);
            EXPECT_EQ(id, kChipId);
            expected = {W(0x2E, 0x87), W(0x2E, 0x87), W(0x2E, 0x20), R(0x2F, hi),
                        W(0x2E, 0x21), R(0x2F, lo),   W(0x2E, 0xAA)};
            EXPECT_EQ(describe(chip_->accesses()), describe(expected));
            chip_->clear_accesses();
            int32_t mode = 9;
            chip_->set_reg(0x0A, 0xF4, 0x04);
            EXPECT_EQ(sio_f71882fg_get_recovery_mode(&mode), 0);
            EXPECT_EQ(mode, 1);
            expected = {W(0x2E, 0x87), W(0x2E, 0x87), W(0x2E, 0x07), W(0x2F, 0x0A),
                        W(0x2E, 0xF4), R(0x2F, 0x04), W(0x2E, 0xAA)};
            break;
        }
        case 1: {
            uint16_t id = 0;
            EXPECT_EQ(get_chip_id(chip(), &id), 0);
            EXPECT_EQ(id, kChipId);
            expected = {W(0x2E, 0x87), W(0x2E, 0x01), W(0x2E, 0x55), W(0x2E, 0x55), W(0x2E, 0x20),
                        R(0x2F, hi),   W(0x2E, 0x21), R(0x2F, lo),   W(0x2E, 0x02), W(0x2F, 0x02)};
            EXPECT_EQ(describe(chip_->accesses()), describe(expected));
            chip_->clear_accesses();
            int32_t state = 9;
            chip_->set_reg(0x04, 0xFA, 0x02);
            EXPECT_EQ(sio_it87_get_eup_state(&state), 0);
            EXPECT_EQ(state, 1);
            expected = {W(0x2E, 0x87), W(0x2E, 0x01), W(0x2E, 0x55), W(0x2E, 0x55), W(0x2E, 0x07),
                        W(0x2F, 0x04), W(0x2E, 0xFA), R(0x2F, 0x02), W(0x2E, 0x02), W(0x2F, 0x02)};
            break;
        }
        case 3: {
            uint16_t id = 0;
            EXPECT_EQ(get_chip_id(chip(), &id), -1) << "the NCT5523 has no chip id here";
            EXPECT_TRUE(chip_->accesses().empty());
            int32_t mode = 9;
            chip_->set_reg(0x0A, 0xE4, 0x20);
            EXPECT_EQ(sio_nct5523_get_recovery_mode(&mode), 0);
            EXPECT_EQ(mode, 1);
            expected = {W(0x2E, 0x87), W(0x2E, 0x87), W(0x2E, 0x07), W(0x2F, 0x0A),
                        W(0x2E, 0xE4), R(0x2F, 0x20), W(0x2E, 0xAA)};
            break;
        }
    }
    EXPECT_EQ(describe(chip_->accesses()), describe(expected));
    EXPECT_EQ(chip_->completed_cycles(), chip() == 3 ? 1u : 2u);
}

// Active low at the pin, active high at the interface; the register's other bits survive.
TEST_P(SuperIoChip, GpioWriteReachesThePinAndReadsBackItsValue) {
    const auto &c = GetParam();
    const int other = (c.gpio_bit + 1) % 8;
    chip_->drive_pin(c.gpio_index, other, false);  // a neighbour that is active already
    ASSERT_EQ(set_gpio_bit(c.chip, c.gpio_index, c.gpio_bit, 1), 0);
    EXPECT_TRUE(chip_->pin_active(c.gpio_index, c.gpio_bit)) << "LED not lit";
    EXPECT_EQ(get_gpio_bit(c.chip, c.gpio_index, c.gpio_bit), 1);
    ASSERT_EQ(set_gpio_bit(c.chip, c.gpio_index, c.gpio_bit, 0), 0);
    EXPECT_FALSE(chip_->pin_active(c.gpio_index, c.gpio_bit)) << "LED not dark";
    EXPECT_EQ(get_gpio_bit(c.chip, c.gpio_index, c.gpio_bit), 0);
    EXPECT_TRUE(chip_->pin_active(c.gpio_index, other)) << "a neighbouring pin was changed";
    EXPECT_EQ(chip_->gpio_register(c.gpio_index), static_cast<uint8_t>(~(1u << other)));

    // A button pressed from outside pulls its pin low and reads as 1.
    chip_->set_pin_active(c.gpio_index, c.gpio_bit, true);
    EXPECT_EQ(get_gpio_bit(c.chip, c.gpio_index, c.gpio_bit), 1);

    // Indexes and bits the chip can't address never reach a port.
    chip_->clear_accesses();
    EXPECT_EQ(set_gpio_bit(c.chip, c.gpio_index, 8, 1), -1);
    EXPECT_EQ(get_gpio_bit(c.chip, 0x100, 0), -1);
    EXPECT_EQ(get_gpio_bit(7, c.gpio_index, c.gpio_bit), -1);
    EXPECT_EQ(set_gpio_bit(7, c.gpio_index, c.gpio_bit, 1), 0) << "unknown chip: silent";
    EXPECT_TRUE(chip_->accesses().empty());
}

// The base is read once per process: later accesses go straight to the GPIO ports.
TEST_P(SuperIoChip, GpioBaseIsReadOncePerProcess) {
    const auto &c = GetParam();
    EXPECT_EQ(nashal::superio::cached_gpio_base(c.chip), 0u);
    get_gpio_bit(c.chip, c.gpio_index, c.gpio_bit);
    EXPECT_EQ(nashal::superio::cached_gpio_base(c.chip), kBase);
    chip_->clear_accesses();
    get_gpio_bit(c.chip, c.gpio_index, c.gpio_bit);
    set_gpio_bit(c.chip, c.gpio_index, c.gpio_bit, 1);
    size_t config_accesses = 0, base_reads = 0;
    const uint8_t base_high = c.chip == 1 ? 0x62 : 0x60;
    const auto &log = chip_->accesses();
    for (size_t i = 0; i < log.size(); ++i) {
        if (log[i].port == 0x2E || log[i].port == 0x2F)
            ++config_accesses;
        if (log[i].write && log[i].port == 0x2E && log[i].value == base_high)
            ++base_reads;
    }
    EXPECT_EQ(base_reads, 0u) << describe(log);
    // Only the IT87 write opens a cycle (to put the pin in simple I/O mode).
    EXPECT_EQ(config_accesses, c.chip == 1 ? 12u : 0u) << describe(log);
}

// Each mode lands in the chip's own field; the CMOS copy follows for modes 0 to 2 only.
TEST_P(SuperIoChip, RecoveryModeRoundTripsThroughChipAndCmos) {
    struct Expect {
        uint8_t device, reg, mask;
        uint8_t field[3];  // register bits for modes 0, 1, 2
    };
    const Expect per_chip[] = {
        {0x0A, 0xF4, 0x06, {0x00, 0x04, 0x06}},
        {0x04, 0xF2, 0x20, {0x00, 0x00, 0x00}},  // mode 0 goes to the chip as mode 1
        {0x0A, 0xF4, 0x06, {0x00, 0x04, 0x06}},
        {0x0A, 0xE4, 0x60, {0x60, 0x20, 0x00}},
    };
    const Expect &e = per_chip[chip()];
    cmos_->set_byte(kPowerIndex, 0x01);  // the BIOS has initialised the byte
    chip_->set_reg(e.device, e.reg, 0x99);
    for (int mode = 0; mode <= 2; ++mode) {
        ASSERT_EQ(set_power_recovery_mode(chip(), mode), 0) << "mode " << mode;
        EXPECT_EQ(chip_->reg(e.device, e.reg) & e.mask, e.field[mode]) << "mode " << mode;
        EXPECT_EQ(chip_->reg(e.device, e.reg) & ~e.mask & 0xff, 0x99 & ~e.mask & 0xff);
        int32_t from_cmos = -1;
        comm_sys_get_power_recovery_mode_from_cmos(&from_cmos, chip() == 1 ? 0 : 1);
        EXPECT_EQ(from_cmos, mode) << "CMOS copy, mode " << mode;
    }
    if (chip() == 1) {
        // Mode 0: 0xF2 clear and 0xF4 set on the chip, while CMOS says 0.
        set_power_recovery_mode(1, 0);
        EXPECT_EQ(chip_->reg(0x04, 0xF2) & 0x20, 0);
        EXPECT_EQ(chip_->reg(0x04, 0xF4) & 0x20, 0x20);
    }
    const uint8_t cmos_before = cmos_->byte(kPowerIndex);
    const int chip_only = set_power_recovery_mode(chip(), 3);
    if (chip() == 0 || chip() == 2) {
        EXPECT_EQ(chip_only, -1) << "the Fintek chips have no chip-only modes";
    } else {
        EXPECT_EQ(chip_only, 0);
        EXPECT_EQ(cmos_->byte(kPowerIndex), cmos_before) << "mode 3 must leave CMOS alone";
    }
    EXPECT_EQ(set_power_recovery_mode(chip(), 5), -1);
}

// A field no mode encodes leaves the caller's value as it was, and still succeeds.
TEST_P(SuperIoChip, UnencodedRecoveryFieldLeavesTheModeUntouched) {
    if (chip() == 1)
        GTEST_SKIP() << "the IT87 has no recovery read";
    int32_t mode = 77;
    if (chip() == 3) {
        chip_->set_reg(0x0A, 0xE4, 0x40);
        EXPECT_EQ(sio_nct5523_get_recovery_mode(&mode), 0);
    } else {
        chip_->set_reg(0x0A, 0xF4, 0x02);
        EXPECT_EQ(sio_f71882fg_get_recovery_mode(&mode), 0);
    }
    EXPECT_EQ(mode, 77);
}

TEST_P(SuperIoChip, EupRoundTripsInTheLayoutTheBiosUses) {
    if (chip() == 3)
        GTEST_SKIP() << "no EuP on the NCT5523";
    auto get = [&] {
        int32_t s = -1;
        EXPECT_EQ(chip() == 1 ? sio_it87_get_eup_state(&s) : sio_f71882fg_get_eup_state(&s), 0);
        return s;
    };
    auto set = [&](int s) {
        return chip() == 1 ? sio_it87_set_eup_state(s) : sio_f71882fg_set_eup_state(s);
    };
    for (uint8_t cmos : {uint8_t(0x01), uint8_t(0x00)}) {
        cmos_->set_byte(kPowerIndex, cmos);
        EXPECT_EQ(set(1), 0);
        EXPECT_EQ(get(), 1);
        EXPECT_EQ(set(0), 0);
        EXPECT_EQ(get(), 0);
    }
    if (chip() == 1) {
        chip_->set_reg(0x04, 0xFA, 0x41);
        set(1);
        EXPECT_EQ(chip_->reg(0x04, 0xFA), 0x53);
        set(0);
        EXPECT_EQ(chip_->reg(0x04, 0xFA), 0x41);
    } else {
        cmos_->set_byte(kPowerIndex, 0x00);  // not initialised: the whole of 0xE1
        set(1);
        EXPECT_EQ(chip_->reg(0x0A, 0xE1), 0xCC);
        set(0);
        EXPECT_EQ(chip_->reg(0x0A, 0xE1), 0xC0);
        cmos_->set_byte(kPowerIndex, 0x01);  // initialised: bit 7 of 0xE0, others kept
        chip_->set_reg(0x0A, 0xE0, 0x11);
        set(1);
        EXPECT_EQ(chip_->reg(0x0A, 0xE0), 0x91);
    }
}

TEST_P(SuperIoChip, PowerButtonRoutingAndPress) {
    ASSERT_EQ(set_pwb_mode(chip(), 1), 0);
    int32_t pressed = -1;
    EXPECT_EQ(get_pwb_status(chip(), &pressed), 0);
    EXPECT_EQ(pressed, 0);
    chip_->press_power_button(true);
    EXPECT_EQ(get_pwb_status(chip(), &pressed), 0);
    EXPECT_EQ(pressed, 1);
    ASSERT_EQ(set_pwb_mode(chip(), 0), 0);
    // Routing registers by chip, as each row leaves them after mode 1 then mode 0.
    switch (chip()) {
        case 0:
            EXPECT_EQ(chip_->reg(0, 0x2B) & 0x20, 0);
            break;
        case 1:
            EXPECT_EQ(chip_->reg(0, 0x28) & 0x08, 0);
            EXPECT_EQ(chip_->reg(0x07, 0xC3) & 0x08, 0x08);
            break;
        case 2:
            EXPECT_EQ(chip_->reg(0, 0x27) & 0x0C, 0x08);
            EXPECT_EQ(chip_->reg(0, 0x2C) & 0x04, 0);
            break;
        case 3:
            EXPECT_EQ(chip_->reg(0, 0x1A) & 0x03, 0);
            EXPECT_EQ(chip_->reg(0x08, 0xE5) & 0x20, 0x20);
            EXPECT_EQ(chip_->reg(0x07, 0x30) & 0x20, 0);
            break;
    }
}

INSTANTIATE_TEST_SUITE_P(EveryChip, SuperIoChip, ::testing::ValuesIn(kChips),
                         [](const auto &info) { return std::string(info.param.name); });

namespace {

class SuperIoLock : public ::testing::Test {
  protected:
    void SetUp() override {
        write_file(app_.dir() + "/etc/model.conf", "[System Enclosure]\nSIO_DEVICE = IT87\n");
        ASSERT_TRUE(app_.activate());
        chip_ = attach_superio(1, kBase, kChipId);
    }
    Appliance app_ = Appliance::fresh();
    std::shared_ptr<SuperIoModel> chip_;
};

}  // namespace

TEST_F(SuperIoLock, TwoProcessesTogglingNeverInterleaveCycles) {
    auto toggler = [](int bit) {
        pid_t pid = fork();
        if (pid == 0) {
            for (int i = 0; i < 500; ++i)
                set_gpio_bit(1, 2, bit, i & 1);
            _exit(0);
        }
        return pid;
    };
    pid_t a = toggler(1), b = toggler(6);
    int status = 0;
    waitpid(a, &status, 0);
    EXPECT_EQ(status, 0);
    waitpid(b, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(chip_->completed_cycles(), 1000u);
    EXPECT_EQ(chip_->broken_cycles(), 0u);
    EXPECT_FALSE(chip_->in_configuration_mode());
}

// The model's detector itself: a process that sits in configuration mode without the lock is
// seen by the next cycle.
TEST_F(SuperIoLock, ModelSeesACycleBrokenByAnotherProcess) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    pid_t intruder = fork();
    if (intruder == 0) {
        for (uint8_t b : {0x87, 0x01, 0x55, 0x55})
            os_outb(b, 0x2E);
        if (write(ready[1], "x", 1) != 1)
            _exit(1);
        pause();
        _exit(0);
    }
    char c;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    uint16_t id = 0;
    get_chip_id(1, &id);
    EXPECT_GT(chip_->broken_cycles(), 0u);
    kill(intruder, SIGKILL);
    waitpid(intruder, nullptr, 0);
}

TEST_F(SuperIoLock, HolderKilledWithSignal9GivesTheLockBack) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    pid_t holder = fork();
    if (holder == 0) {
        int id = -1;
        if (acquire_sio_lock(SIO_LOCK_KEY, &id) != 0 || write(ready[1], "x", 1) != 1)
            _exit(1);
        pause();
        _exit(0);
    }
    char c;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    int id = semget(SIO_LOCK_KEY, 1, 0);
    ASSERT_GE(id, 0);
    EXPECT_EQ(semctl(id, 0, GETVAL), 0) << "the holder has it";
    kill(holder, SIGKILL);
    waitpid(holder, nullptr, 0);
    EXPECT_EQ(semctl(id, 0, GETVAL), 1) << "the kernel undid the dead holder's lock";
    int mine = -1;
    ASSERT_EQ(acquire_sio_lock(SIO_LOCK_KEY, &mine), 0);
    EXPECT_EQ(mine, id) << "a second process joins the existing set";
    EXPECT_EQ(release_sio_lock(mine), 0);
}

// A creator that died before setting the value left a set nobody can take: it is repaired
// rather than blocking every caller until reboot.
TEST_F(SuperIoLock, SetLeftAtZeroByADeadCreatorIsRepaired) {
    int id = semget(SIO_LOCK_KEY, 1, IPC_CREAT | IPC_EXCL | 0666);
    ASSERT_GE(id, 0);
    ASSERT_EQ(semctl(id, 0, GETVAL), 0);
    int mine = -1;
    EXPECT_EQ(acquire_sio_lock(SIO_LOCK_KEY, &mine), 0);
    EXPECT_EQ(release_sio_lock(mine), 0);
    EXPECT_EQ(semctl(id, 0, GETVAL), 1);
}
