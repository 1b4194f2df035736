#include "sim/superio_model.h"

#include <fcntl.h>
#include <signal.h>
#include <strings.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "drivers/superio_layout.h"
#include "sim/clock.h"
#include "sim/fs.h"

namespace nashal::sim {

namespace sio = nashal::superio;

namespace {

constexpr uint32_t kMagic = 0x53494f31;  // "SIO1"
constexpr size_t kDeviceRegisters = 0x100 - sio::kFirstDeviceRegister;
constexpr size_t kWriteRing = 256;
constexpr uint16_t kPlaceholderIdBase = 0x5A00;

const char *const kNames[sio::kChipCount] = {"F71869A", "IT87", "F81866A", "NCT5523"};

bool alive(int32_t pid) {
    return pid > 0 && (kill(pid, 0) == 0 || errno == EPERM);
}

uint16_t gpio_device(int chip) {
    switch (chip) {
        case sio::kIT87:
            return sio::it87::kDeviceGpio;
        case sio::kNCT5523:
            return sio::nct5523::kDeviceGpio;
        default:
            return sio::fintek::kDeviceGpio;
    }
}

}  // namespace

// The chip as every process of the appliance sees it.
struct SuperIoModel::Shared {
    uint32_t magic;
    int32_t chip;
    uint8_t global[sio::kFirstDeviceRegister];
    uint8_t device[256][kDeviceRegisters];
    uint8_t gpio[256];
    uint8_t key_progress;
    uint8_t in_config;
    uint8_t index;
    uint8_t gpio_index;
    int32_t config_owner;
    int32_t gpio_index_owner;
    uint32_t cycles;
    uint32_t broken;
    uint32_t unpermitted;
    uint32_t gpio_write_count;
    GpioWrite writes[kWriteRing];
};

int superio_chip_index(const std::string &name) {
    for (int i = 0; i < sio::kChipCount; ++i) {
        if (strcasecmp(name.c_str(), kNames[i]) == 0)
            return i;
    }
    return -1;
}

SuperIoModel::SuperIoModel(int chip, uint16_t gpio_base, uint16_t chip_id,
                           const std::string &state_file)
    : gpio_base_(gpio_base) {
    int fd = ::open(state_file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
        std::abort();
    struct stat st {};
    fstat(fd, &st);
    bool fresh = static_cast<size_t>(st.st_size) != sizeof(Shared);
    if (fresh && (ftruncate(fd, 0) != 0 || ftruncate(fd, sizeof(Shared)) != 0))
        std::abort();
    void *map = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    ::close(fd);
    if (map == MAP_FAILED)
        std::abort();
    shared_ = static_cast<Shared *>(map);
    if (fresh || shared_->magic != kMagic || shared_->chip != chip) {
        std::memset(shared_, 0, sizeof(Shared));
        shared_->chip = chip;
        reset_power_on(chip_id ? chip_id : static_cast<uint16_t>(kPlaceholderIdBase + chip));
        shared_->magic = kMagic;
    }
}

SuperIoModel::~SuperIoModel() {
    munmap(shared_, sizeof(Shared));
}

void SuperIoModel::reset_power_on(uint16_t chip_id) {
    const int chip = shared_->chip;
    shared_->global[sio::kRegChipIdHigh] = static_cast<uint8_t>(chip_id >> 8);
    shared_->global[sio::kRegChipIdLow] = static_cast<uint8_t>(chip_id);
    const uint8_t high = static_cast<uint8_t>(gpio_base_ >> 8);
    const uint8_t low = static_cast<uint8_t>(gpio_base_);
    const uint8_t device = static_cast<uint8_t>(gpio_device(chip));
    if (chip == sio::kIT87) {
        cell(device, sio::it87::kRegBaseHigh) = high;
        cell(device, sio::it87::kRegBaseLow) = low;
    } else {
        cell(device, sio::fintek::kRegBaseHigh) = high;
        cell(device, sio::fintek::kRegBaseLow) = low;
    }
    // Every pin high: active-low LEDs dark, buttons released.
    std::memset(shared_->gpio, 0xFF, sizeof shared_->gpio);
    cell(sio::fintek::kDeviceGpio, sio::fintek::kF71869aRegPwbStatus) = 0xFF;
    cell(sio::fintek::kDeviceGpio, sio::fintek::kF81866aRegPwbStatus) = 0xFF;
}

uint8_t &SuperIoModel::cell(uint8_t device, uint8_t r) const {
    if (r < sio::kFirstDeviceRegister)
        return shared_->global[r];
    return shared_->device[device][r - sio::kFirstDeviceRegister];
}

int SuperIoModel::chip() const {
    return shared_->chip;
}

uint8_t SuperIoModel::reg(uint8_t device, uint8_t r) const {
    return cell(device, r);
}

void SuperIoModel::set_reg(uint8_t device, uint8_t r, uint8_t value) {
    cell(device, r) = value;
}

// Another living process inside this cycle (or between this index and its data) is exactly what
// the lock must exclude. A dead owner was killed mid-cycle: the chip simply stays where it was.
void SuperIoModel::note_owner(int32_t owner) {
    if (owner != getpid() && alive(owner))
        __atomic_fetch_add(&shared_->broken, 1, __ATOMIC_SEQ_CST);
}

void SuperIoModel::config_write(uint8_t value) {
    Shared &s = *shared_;
    if (!s.in_config) {
        const uint8_t *key = sio::kFintekEnter;
        size_t key_len = sizeof sio::kFintekEnter;
        if (s.chip == sio::kIT87) {
            key = sio::kIt87Enter;
            key_len = sizeof sio::kIt87Enter;
        }
        if (value == key[s.key_progress])
            ++s.key_progress;
        else
            s.key_progress = value == key[0] ? 1 : 0;
        if (s.key_progress == key_len) {
            s.key_progress = 0;
            s.in_config = 1;
            s.config_owner = getpid();
        }
        return;
    }
    note_owner(s.config_owner);
    s.config_owner = getpid();
    if (s.chip != sio::kIT87 && value == sio::kFintekExit) {
        s.in_config = 0;
        s.config_owner = 0;
        __atomic_fetch_add(&s.cycles, 1, __ATOMIC_SEQ_CST);
        return;
    }
    s.index = value;
}

void SuperIoModel::data_write(uint8_t value) {
    Shared &s = *shared_;
    if (!s.in_config)
        return;
    note_owner(s.config_owner);
    s.config_owner = getpid();
    if (s.chip == sio::kIT87 && s.index == sio::kIt87RegConfigControl &&
        (value & sio::kIt87ExitValue)) {
        s.in_config = 0;
        s.config_owner = 0;
        __atomic_fetch_add(&s.cycles, 1, __ATOMIC_SEQ_CST);
        return;
    }
    // The chip id is read-only.
    if (s.index == sio::kRegChipIdHigh || s.index == sio::kRegChipIdLow)
        return;
    cell(s.global[sio::kRegLogicalDevice], s.index) = value;
}

uint8_t SuperIoModel::data_read() {
    Shared &s = *shared_;
    if (!s.in_config)
        return 0xFF;
    note_owner(s.config_owner);
    s.config_owner = getpid();
    return cell(s.global[sio::kRegLogicalDevice], s.index);
}

// The GPIO ports above the base, as each chip lays them out.
void SuperIoModel::gpio_access(bool write, uint16_t offset, uint8_t *value) {
    Shared &s = *shared_;
    uint16_t index_port = 0xFFFF, data_port = 0xFFFF;
    if (s.chip == sio::kF71869A) {
        index_port = sio::fintek::kF71869aGpioIndexOffset;
        data_port = sio::fintek::kF71869aGpioDataOffset;
    } else if (s.chip == sio::kNCT5523) {
        index_port = sio::nct5523::kGpioIndexOffset;
        data_port = sio::nct5523::kGpioDataOffset;
    }
    uint8_t *target = nullptr;
    uint8_t gpio_index = 0;
    if (index_port != 0xFFFF) {
        if (offset == index_port) {
            if (write) {
                s.gpio_index = *value;
                s.gpio_index_owner = getpid();
            } else {
                *value = s.gpio_index;
            }
            return;
        }
        if (offset != data_port) {
            *value = 0xFF;
            return;
        }
        note_owner(s.gpio_index_owner);
        gpio_index = s.gpio_index;
    } else {
        const unsigned span =
            s.chip == sio::kIT87 ? sio::it87::kGpioPorts : sio::fintek::kF81866aGpioPorts;
        if (offset >= span) {
            if (!write)
                *value = 0xFF;
            return;
        }
        gpio_index = static_cast<uint8_t>(offset);
    }
    target = &s.gpio[gpio_index];
    if (!write) {
        *value = *target;
        return;
    }
    *target = *value;
    uint32_t n = __atomic_fetch_add(&s.gpio_write_count, 1, __ATOMIC_SEQ_CST);
    s.writes[n % kWriteRing] = {clock_now_us(), getpid(), gpio_index, *value};
}

uint8_t SuperIoModel::inb(uint16_t port) {
    if (!port_permitted(port))
        __atomic_fetch_add(&shared_->unpermitted, 1, __ATOMIC_SEQ_CST);
    uint8_t value = 0xFF;
    if (port == sio::kIndexPort)
        value = shared_->index;
    else if (port == sio::kDataPort)
        value = data_read();
    else if (port >= gpio_base_)
        gpio_access(false, static_cast<uint16_t>(port - gpio_base_), &value);
    accesses_.push_back({false, port, value});
    return value;
}

void SuperIoModel::outb(uint8_t value, uint16_t port) {
    if (!port_permitted(port))
        __atomic_fetch_add(&shared_->unpermitted, 1, __ATOMIC_SEQ_CST);
    accesses_.push_back({true, port, value});
    if (port == sio::kIndexPort)
        config_write(value);
    else if (port == sio::kDataPort)
        data_write(value);
    else if (port >= gpio_base_)
        gpio_access(true, static_cast<uint16_t>(port - gpio_base_), &value);
}

uint8_t SuperIoModel::gpio_register(int gpio_index) const {
    return shared_->gpio[gpio_index & 0xFF];
}

bool SuperIoModel::pin_high(int gpio_index, int gpio_bit) const {
    return (gpio_register(gpio_index) >> gpio_bit) & 1;
}

void SuperIoModel::drive_pin(int gpio_index, int gpio_bit, bool high) {
    uint8_t &r = shared_->gpio[gpio_index & 0xFF];
    const uint8_t mask = static_cast<uint8_t>(1u << gpio_bit);
    r = high ? static_cast<uint8_t>(r | mask) : static_cast<uint8_t>(r & ~mask);
}

int SuperIoModel::it87_blink_channel(int gpio_index, int gpio_bit) const {
    const uint8_t device = sio::it87::kDeviceGpio;
    // A pin in simple I/O follows its data bit, whatever a channel names.
    if (reg(device, static_cast<uint8_t>(sio::it87::kRegSimpleIoEnable + gpio_index)) &
        (1u << gpio_bit))
        return 0;
    const uint8_t code = static_cast<uint8_t>(((gpio_index + 1) * 8) | gpio_bit);
    if (reg(device, sio::it87::kRegBlink1Pin) == code &&
        reg(device, sio::it87::kRegBlink1Control) == sio::it87::kBlinkRun)
        return 1;
    if (reg(device, sio::it87::kRegBlink2Pin) == code &&
        reg(device, sio::it87::kRegBlink2Control) == sio::it87::kBlinkRun)
        return 2;
    return 0;
}

void SuperIoModel::press_power_button(bool pressed) {
    switch (shared_->chip) {
        case sio::kF71869A:
            cell(sio::fintek::kDeviceGpio, sio::fintek::kF71869aRegPwbStatus) =
                pressed ? static_cast<uint8_t>(~sio::fintek::kF71869aPwbBit) : 0xFF;
            break;
        case sio::kF81866A:
            cell(sio::fintek::kDeviceGpio, sio::fintek::kF81866aRegPwbStatus) =
                pressed ? static_cast<uint8_t>(~sio::fintek::kF81866aPwbBit) : 0xFF;
            break;
        case sio::kIT87:
            set_pin_active(sio::it87::kPwbGpioIndex, sio::it87::kPwbGpioBit, pressed);
            break;
        default:
            set_pin_active(sio::nct5523::kPwbGpioIndex, sio::nct5523::kPwbGpioBit, pressed);
            break;
    }
}

uint32_t SuperIoModel::completed_cycles() const {
    return __atomic_load_n(&shared_->cycles, __ATOMIC_SEQ_CST);
}
uint32_t SuperIoModel::broken_cycles() const {
    return __atomic_load_n(&shared_->broken, __ATOMIC_SEQ_CST);
}
uint32_t SuperIoModel::unpermitted_accesses() const {
    return __atomic_load_n(&shared_->unpermitted, __ATOMIC_SEQ_CST);
}
bool SuperIoModel::in_configuration_mode() const {
    return shared_->in_config != 0;
}

std::vector<SuperIoModel::GpioWrite> SuperIoModel::gpio_writes() const {
    uint32_t n = __atomic_load_n(&shared_->gpio_write_count, __ATOMIC_SEQ_CST);
    std::vector<GpioWrite> out;
    for (uint32_t i = n > kWriteRing ? n - kWriteRing : 0; i < n; ++i)
        out.push_back(shared_->writes[i % kWriteRing]);
    return out;
}

std::shared_ptr<SuperIoModel> attach_superio(int chip, uint16_t gpio_base, uint16_t chip_id,
                                             const std::string &state_file) {
    auto model = std::make_shared<SuperIoModel>(chip, gpio_base, chip_id, state_file);
    register_ports(sio::kIndexPort, sio::kConfigPortCount, model);
    register_ports(gpio_base, sio::kGpioPortSpan, model);
    return model;
}

namespace {

struct DescribedChip {
    int chip = -1;
    uint16_t base = 0xA00;
    uint16_t id = 0;
    std::string state = "/sim/superio.bin";
};

bool described_chip(DescribedChip *d) {
    if (!exists("/sim/superio.conf"))
        return false;
    for (const DescriptionEntry &e : read_description("/sim/superio.conf", 2)) {
        const std::string &key = e[0], &value = e[1];
        if (key == "chip")
            d->chip = superio_chip_index(value);
        else if (key == "gpio_base")
            d->base = static_cast<uint16_t>(hex_word(value));
        else if (key == "id")
            d->id = static_cast<uint16_t>(hex_word(value));
        else if (key == "state")
            d->state = value;
    }
    return d->chip >= 0;
}

}  // namespace

std::shared_ptr<SuperIoModel> attach_described_superio() {
    DescribedChip d;
    if (!described_chip(&d))
        return nullptr;
    return attach_superio(d.chip, d.base, d.id, d.state);
}

std::shared_ptr<SuperIoModel> open_described_superio() {
    DescribedChip d;
    if (!described_chip(&d))
        return nullptr;
    return std::make_shared<SuperIoModel>(d.chip, d.base, d.id, d.state);
}

}  // namespace nashal::sim
