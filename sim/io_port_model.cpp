#include "sim/io_port_model.h"

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

}  // namespace nashal::sim
