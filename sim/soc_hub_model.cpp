#include "sim/soc_hub_model.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "drivers/soc_hub_layout.h"
#include "foundation/byte_order.h"
#include "sim/fs.h"

namespace nashal::sim {

using namespace nashal::drivers;

namespace {

bool pread_word(const std::string &path, uint32_t offset, uint32_t *value) {
    int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0)
        return false;
    uint8_t bytes[4];
    bool ok = pread(fd, bytes, sizeof bytes, offset) == sizeof bytes;
    close(fd);
    if (ok)
        *value = nashal::load_le32(bytes);
    return ok;
}

std::string hub_config_path() {
    return std::string(kHubDevice) + "/config";
}

}  // namespace

uint32_t SocRegisters::word(uint32_t offset) const {
    uint32_t v = 0;
    return pread_word(state_, offset, &v) ? v : 0xffffffffu;
}

void SocRegisters::set_word(uint32_t offset, uint32_t value) {
    int fd = open(state_.c_str(), O_WRONLY);
    if (fd < 0)
        return;
    uint8_t bytes[4];
    nashal::store_le32(bytes, value);
    if (pwrite(fd, bytes, sizeof bytes, offset) != sizeof bytes) {
        // A state file that can't take the word is the test's own mistake; the read shows it.
    }
    close(fd);
}

void SocRegisters::set_bit(uint32_t offset, int bit, bool high) {
    uint32_t v = word(offset);
    set_word(offset, high ? (v | (1u << bit)) : (v & ~(1u << bit)));
}

std::shared_ptr<SocRegisters> attach_soc_registers(uint64_t base, uint32_t size,
                                                   const std::string &state) {
    if (base % kMmioPageSize != 0 || size == 0)
        return nullptr;
    if (!exists(state) || read_file(state).size() != size)
        write_file(state, std::string(size, '\xff'));
    if (!exists(kDevMem))
        write_file(kDevMem, "");
    register_memory_window(base, size, state);
    return std::make_shared<SocRegisters>(base, size, state);
}

std::shared_ptr<SocRegisters> attach_described_soc() {
    if (!exists("/sim/soc.conf"))
        return nullptr;
    uint64_t base = 0;
    uint32_t size = 0x20000;
    std::string state = "/sim/soc.bin";
    for (const DescriptionEntry &e : read_description("/sim/soc.conf", 2)) {
        const std::string &key = e[0], &value = e[1];
        if (key == "base")
            base = std::strtoull(value.c_str(), nullptr, 16);
        else if (key == "size")
            size = static_cast<uint32_t>(hex_word(value));
        else if (key == "state")
            state = value;
    }
    return base ? attach_soc_registers(base, size, state) : nullptr;
}

void write_hub_config(uint16_t gpio_base, bool gpio_enabled, uint8_t gen_pmcon3) {
    std::string config(kHubConfigSize, '\0');
    auto *bytes = reinterpret_cast<uint8_t *>(config.data());
    nashal::store_le32(bytes + kHubGpioBase, static_cast<uint32_t>(gpio_base) | 1u);
    nashal::store_le32(bytes + kHubGpioControl, gpio_enabled ? kHubGpioEnable : 0u);
    bytes[kHubGenPmcon3] = gen_pmcon3;
    if (!exists(kHubDevice))
        make_dirs(kHubDevice);
    write_file(hub_config_path(), config);
}

uint8_t hub_config_byte(size_t offset) {
    std::string config = read_file(hub_config_path());
    return offset < config.size() ? static_cast<uint8_t>(config[offset]) : 0xff;
}

uint32_t HubGpioModel::reg(uint16_t offset) const {
    auto it = regs_.find(offset);
    return it == regs_.end() ? 0 : it->second;
}

uint32_t HubGpioModel::inl(uint16_t port) {
    const auto offset = static_cast<uint16_t>(port - base_);
    for (const HubGpioBank &bank : kHubGpioBanks) {
        if (offset != bank.level)
            continue;
        uint32_t level = reg(offset);
        const uint32_t inputs = reg(bank.use_select) & reg(bank.io_select);
        for (int bit = 0; bit < 32; ++bit) {
            if (!(inputs & (1u << bit)))
                continue;
            auto driven = inputs_.find(bank.first_pin + bit);
            const bool high = driven != inputs_.end() && driven->second;
            level = high ? (level | (1u << bit)) : (level & ~(1u << bit));
        }
        return level;
    }
    return reg(offset);
}

void HubGpioModel::outl(uint32_t value, uint16_t port) {
    regs_[static_cast<uint16_t>(port - base_)] = value;
}

uint8_t HubGpioModel::inb(uint16_t port) {
    const auto offset = static_cast<uint16_t>(port - base_);
    const uint16_t aligned = static_cast<uint16_t>(offset & ~3u);
    return static_cast<uint8_t>(inl(static_cast<uint16_t>(base_ + aligned)) >>
                                (8 * (offset - aligned)));
}

void HubGpioModel::outb(uint8_t value, uint16_t port) {
    const auto offset = static_cast<uint16_t>(port - base_);
    const uint16_t aligned = static_cast<uint16_t>(offset & ~3u);
    const unsigned shift = 8u * (offset - aligned);
    uint32_t v = reg(aligned);
    v = (v & ~(0xffu << shift)) | (static_cast<uint32_t>(value) << shift);
    regs_[aligned] = v;
}

void HubGpioModel::set_input(int pin, bool high) {
    inputs_[pin] = high;
}

std::shared_ptr<HubGpioModel> attach_hub_gpio(uint16_t base) {
    auto model = std::make_shared<HubGpioModel>(base);
    register_ports(base, static_cast<uint16_t>(kHubGpioPortSpan), model);
    return model;
}

std::shared_ptr<HubGpioModel> attach_described_hub() {
    if (!exists("/sim/hub.conf"))
        return nullptr;
    uint16_t base = 0x500;
    bool enabled = true;
    uint8_t pmcon3 = 0;
    std::vector<std::pair<int, bool>> levels;
    for (const DescriptionEntry &e : read_description("/sim/hub.conf", 2)) {
        const std::string &key = e[0], &value = e[1];
        if (key == "gpio_base")
            base = static_cast<uint16_t>(hex_word(value));
        else if (key == "gpio_enabled")
            enabled = value != "0";
        else if (key == "after_g3")
            pmcon3 = value != "0" ? kHubAfterG3 : 0;
        else if (key == "level" && e.size() > 2)
            levels.emplace_back(std::atoi(value.c_str()), e[2] != "0");
    }
    // The configuration space is the board's: a power-failure setting written by one run is
    // what the next finds.
    if (!exists(hub_config_path()))
        write_hub_config(base, enabled, pmcon3);
    auto model = attach_hub_gpio(base);
    for (auto [pin, high] : levels)
        model->set_input(pin, high);
    return model;
}

}  // namespace nashal::sim
