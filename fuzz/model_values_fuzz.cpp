// Model values are written by hand for each board; every parser must survive any text, never
// read past its end, and never write past the buffers it is given.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "nashal/comm_model.h"

namespace {

// A heap copy of exactly the text and its terminator, so that an over-read is caught.
std::unique_ptr<char[]> copy(const std::string &text) {
    std::unique_ptr<char[]> p(new char[text.size() + 1]);
    std::memcpy(p.get(), text.c_str(), text.size() + 1);
    return p;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string text(reinterpret_cast<const char *>(data), size);
    text = text.substr(0, text.find('\0'));

    int32_t a = 0, b = 0, c = 0;
    char name[HAL_ID_LEN];
    comm_sys_parse_c_dev_bus(copy(text).get(), &a, &b, &c);
    comm_sys_parse_c_dev_bus(copy(text).get(), nullptr, &b, &c);
    comm_sys_parse_c_internal_driver(copy(text).get(), name, sizeof name);
    comm_sys_parse_c_internal_driver(copy(text).get(), name, 1);
    comm_sys_parse_c_gpio(copy(text).get(), &a, &b);
    comm_sys_parse_c_i2c(copy(text).get(), &a);
    comm_sys_parse_c_i2c_start_stop(copy(text).get(), &a, &b, &c);
    comm_sys_parse_c_i2c_index(copy(text).get(), &a, &b);
    comm_sys_parse_c_i2c_index_write(copy(text).get(), &a, &b, &c);
    common_sys_get_thunderbolt_i2c_num(copy(text).get());

    // The port list shrinks with every call, so the walk ends within its length.
    auto list = copy(text);
    for (size_t i = 0; i <= text.size() && comm_sys_get_each_usb_port(list.get()) != 0; ++i) {
    }
    return 0;
}
