#include "sim/cmos_model.h"

#include <fcntl.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "os/os_seam.h"
#include "sim/fs.h"

namespace nashal::sim {

CmosModel::CmosModel(uint16_t first_port, size_t size, std::string backing_file)
    : first_port_(first_port),
      bytes_(size == 256 ? 256 : 128, 0),
      backing_file_(std::move(backing_file)) {
    std::string saved = read_file(backing_file_);
    std::memcpy(bytes_.data(), saved.data(), std::min(saved.size(), bytes_.size()));
    save();
}

size_t CmosModel::address(uint8_t index) const {
    return bytes_.size() == 128 ? (index & 0x7f) : index;
}

uint8_t CmosModel::inb(uint16_t port) {
    if (port == first_port_)
        return index_;
    return bytes_[address(index_)];
}

void CmosModel::outb(uint8_t value, uint16_t port) {
    if (port == first_port_) {
        index_ = value;
        return;
    }
    bytes_[address(index_)] = value;
    save();
}

uint8_t CmosModel::byte(uint8_t index) const {
    return bytes_[address(index)];
}

void CmosModel::set_byte(uint8_t index, uint8_t value) {
    bytes_[address(index)] = value;
    save();
}

void CmosModel::save() const {
    if (backing_file_.empty())
        return;
    write_file(backing_file_,
               std::string(reinterpret_cast<const char *>(bytes_.data()), bytes_.size()));
}

std::shared_ptr<CmosModel> attach_cmos(uint16_t first_port, size_t size,
                                       const std::string &backing_file) {
    auto model = std::make_shared<CmosModel>(first_port, size, backing_file);
    register_ports(first_port, 2, model);
    return model;
}

std::shared_ptr<CmosModel> attach_described_cmos() {
    if (!exists("/sim/cmos.conf"))
        return nullptr;
    uint16_t port = 0x70;
    size_t size = 128;
    std::string file = "/sim/cmos.bin";
    for (const DescriptionEntry &e : read_description("/sim/cmos.conf", 2)) {
        const std::string &key = e[0], &value = e[1];
        if (key == "port")
            port = static_cast<uint16_t>(hex_word(value));
        else if (key == "size")
            size = std::strtoul(value.c_str(), nullptr, 10);
        else if (key == "file")
            file = value;
        else if (key == "memory_mb")
            set_memory_mb(std::strtoull(value.c_str(), nullptr, 10));
    }
    return attach_cmos(port, size, file);
}

namespace {

uint64_t &memory_mb() {
    static uint64_t mb = 0;
    return mb;
}

int v_sysinfo(struct sysinfo *info) {
    int r = ::sysinfo(info);
    if (r == 0) {
        info->mem_unit = 1024 * 1024;
        info->totalram = static_cast<unsigned long>(memory_mb());
    }
    return r;
}

}  // namespace

void set_memory_mb(uint64_t mb) {
    memory_mb() = mb;
    nashal_os_hooks.sysinfo = mb ? v_sysinfo : nullptr;
}

}  // namespace nashal::sim
