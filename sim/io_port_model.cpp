#include "sim/io_port_model.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "sim/fs.h"

namespace nashal::sim {

uint8_t IoPortModel::inb(uint16_t port) {
    return value(port);
}

void IoPortModel::outb(uint8_t value, uint16_t port) {
    latch_[port] = value;
    writes_.emplace_back(port, value);
}

uint8_t IoPortModel::value(uint16_t port) const {
    auto it = latch_.find(port);
    return it == latch_.end() ? initial_ : it->second;
}

std::shared_ptr<IoPortModel> attach_io_ports(uint16_t first, uint16_t count, uint8_t initial) {
    auto model = std::make_shared<IoPortModel>(initial);
    register_ports(first, count, model);
    return model;
}

namespace {

// A latch whose value lives in a file of the appliance, one per port.
class SharedLatch : public PortModel {
  public:
    explicit SharedLatch(uint8_t initial) : initial_(initial) {}
    uint8_t inb(uint16_t port) override {
        std::string text = read_file(path(port));
        return text.empty() ? initial_
                            : static_cast<uint8_t>(std::strtoul(text.c_str(), nullptr, 16));
    }
    void outb(uint8_t value, uint16_t port) override {
        char text[8];
        std::snprintf(text, sizeof text, "%02x\n", value);
        write_file(path(port), text);
    }

  private:
    static std::string path(uint16_t port) {
        char name[16];
        std::snprintf(name, sizeof name, "%x", port);
        return std::string("/sim/ioports/") + name;
    }
    uint8_t initial_;
};

}  // namespace

int attach_described_io_ports() {
    int ranges = 0;
    for (const DescriptionEntry &e : read_description("/sim/ioports.conf", 3)) {
        make_dirs("/sim/ioports");
        register_ports(static_cast<uint16_t>(hex_word(e[0])), static_cast<uint16_t>(hex_word(e[1])),
                       std::make_shared<SharedLatch>(static_cast<uint8_t>(hex_word(e[2]))));
        ++ranges;
    }
    return ranges;
}

}  // namespace nashal::sim
