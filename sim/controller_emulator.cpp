#include "sim/controller_emulator.h"

#include <chrono>
#include <cstdlib>
#include <cstring>

#include "controllers/controller_frames.h"
#include "nashal/mcu_sys.h"
#include "sim/fs.h"

namespace nashal::sim {

namespace cf = nashal::controllers;

namespace {

// A live controller reports at least every few seconds; this one reports its temperature this
// often (real time), and keeps quiet for as long after any exchange so that a report never
// lands inside an answer the library is reading.
constexpr auto kReportEvery = std::chrono::milliseconds(300);
constexpr int64_t kQuietAfterUs = 300000;

int64_t real_now_us() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

uint8_t sum_of(const uint8_t *p, size_t n) {
    unsigned s = 0;
    for (size_t i = 0; i < n; ++i)
        s += p[i];
    return static_cast<uint8_t>(s);
}

}  // namespace

ControllerEmulator::ControllerEmulator(ControllerKind kind) : kind_(kind) {}

std::unique_ptr<ControllerEmulator> ControllerEmulator::attach(ControllerKind kind, int link) {
    return attach(kind, link == 0 ? "/dev/ttyS0" : "/dev/ttyS1");
}

std::unique_ptr<ControllerEmulator> ControllerEmulator::attach(ControllerKind kind,
                                                               const std::string &device) {
    std::unique_ptr<ControllerEmulator> emu(new ControllerEmulator(kind));
    ControllerEmulator *raw = emu.get();
    emu->peer_ =
        SerialPeer::attach(device, [raw](const Bytes &frame, int) { return raw->take(frame); });
    if (!emu->peer_)
        return nullptr;
    emu->heartbeat_ = std::thread([raw] { raw->heartbeat(); });
    return emu;
}

ControllerEmulator::~ControllerEmulator() {
    {
        std::lock_guard<std::mutex> lock(stop_mutex_);
        stopping_ = true;
    }
    stop_cv_.notify_all();
    if (heartbeat_.joinable())
        heartbeat_.join();
    peer_.reset();
}

void ControllerEmulator::heartbeat() {
    std::unique_lock<std::mutex> stop(stop_mutex_);
    while (!stop_cv_.wait_for(stop, kReportEvery, [this] { return stopping_; })) {
        uint8_t report = 0;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (silent_ || state_ != State::Idle || real_now_us() < quiet_until_us_)
                continue;
            report = static_cast<uint8_t>(cf::kTempFirst + temperature_);
        }
        peer_->send({report});
    }
}

Bytes ControllerEmulator::take(const Bytes &frame) {
    std::lock_guard<std::mutex> lock(mutex_);
    Bytes answer;
    if (silent_)
        return answer;
    // A transaction the library gave up on in the middle is forgotten after a quiet second, as
    // the controller's own receive timeout does.
    if (state_ != State::Idle && real_now_us() - last_byte_us_ > 1000000)
        state_ = State::Idle;
    last_byte_us_ = real_now_us();
    for (uint8_t b : frame) {
        Bytes part = take_byte(b);
        answer.insert(answer.end(), part.begin(), part.end());
    }
    quiet_until_us_ = real_now_us() + kQuietAfterUs;
    return answer;
}

Bytes ControllerEmulator::take_byte(uint8_t b) {
    const bool mcu = kind_ == ControllerKind::Mcu;
    switch (state_) {
        case State::Idle:
            if (b == cf::kAttention) {
                state_ = State::Attention;
                return {cf::kAck};
            }
            if (mcu && b == mcu_cmds[0].bytes[0]) {
                state_ = State::Table;
                collected_ = {b};
                return {};
            }
            commands_.push_back(b);
            return {};
        case State::Attention:
            state_ = State::Idle;
            if (b == cf::kEepromWrite || b == cf::kEepromRead) {
                state_ = State::Collect;
                command_ = b;
                collected_.clear();
                want_ = 2;
                return {};
            }
            if (b == cf::kFan1Speed || b == cf::kFan2Speed) {
                transactions_.push_back(b);
                Bytes answer = {cf::kAck};
                if (!fan_answer_.empty()) {
                    answer.insert(answer.end(), fan_answer_.begin(), fan_answer_.end());
                    return answer;
                }
                const uint8_t v = fan_value_[b == cf::kFan1Speed ? 0 : 1];
                if (mcu)
                    answer.insert(answer.end(), {v, v, static_cast<uint8_t>(v + v)});
                else
                    answer.insert(answer.end(), {v, v});
                return answer;
            }
            return {};
        case State::Table: {
            collected_.push_back(b);
            if (collected_.size() < cf::kMcuCommandLen)
                return {};
            state_ = State::Idle;
            uint8_t x = 0;
            for (size_t i = 0; i < 4; ++i)
                x ^= collected_[i];
            if (x != collected_[4])
                return {'@', '1', static_cast<uint8_t>('@' ^ '1')};
            for (const MCU_CMD &row : mcu_cmds)
                if (std::memcmp(row.bytes, collected_.data(), cf::kMcuCommandLen) == 0)
                    table_commands_.push_back(row.name);
            return {'@', '0', static_cast<uint8_t>('@' ^ '0')};
        }
        case State::Collect:
            break;
    }
    collected_.push_back(b);
    if (collected_.size() < want_)
        return {};
    const uint8_t offset = collected_[0];
    const uint8_t length = collected_[1];
    if (command_ == cf::kEepromRead) {
        state_ = State::Idle;
        transactions_.push_back(command_);
        Bytes answer = {cf::kAck};
        for (int i = 0; i < length; ++i)
            answer.push_back(eeprom_[(offset + i) & 0xFF]);
        answer.push_back(
            static_cast<uint8_t>(sum_of(answer.data() + 1, length) ^ (checksum_wrong_ ? 0x5A : 0)));
        if (answer_cut_ >= 0 && static_cast<size_t>(answer_cut_) + 1 < answer.size())
            answer.resize(static_cast<size_t>(answer_cut_) + 1);
        return answer;
    }
    if (want_ == 2) {  // the write's header: the data and its checksum follow
        want_ = 2 + length + 1;
        return {cf::kAck};
    }
    state_ = State::Idle;
    transactions_.push_back(command_);
    const uint8_t *data = collected_.data() + 2;
    if (sum_of(data, length) != data[length])
        return {0x55};
    for (int i = 0; i < length; ++i)
        eeprom_[(offset + i) & 0xFF] = data[i];
    if (!eeprom_file_.empty())
        write_file(eeprom_file_, std::string(eeprom_.begin(), eeprom_.end()));
    return {cf::kAck};
}

Bytes ControllerEmulator::eeprom() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return eeprom_;
}

void ControllerEmulator::set_eeprom(int offset, const Bytes &bytes) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (size_t i = 0; i < bytes.size(); ++i)
        eeprom_[(static_cast<size_t>(offset) + i) & 0xFF] = bytes[i];
}

void ControllerEmulator::set_serial(const std::string &serial) {
    Bytes record(cf::kSerialRecordLen, 0);
    std::string text = cf::kSerialPrefix + serial;
    for (size_t i = 0; i < text.size() && i + 1 < record.size(); ++i)
        record[i] = static_cast<uint8_t>(text[i]);
    set_eeprom(kind_ == ControllerKind::Mcu ? cf::kMcuSerialOffset : cf::kPicSerialOffset, record);
}

Bytes ControllerEmulator::commands() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return commands_;
}

int ControllerEmulator::last_command(uint8_t first, uint8_t last) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto it = commands_.rbegin(); it != commands_.rend(); ++it)
        if (*it >= first && *it <= last)
            return *it;
    return -1;
}

std::vector<std::string> ControllerEmulator::table_commands() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return table_commands_;
}

int ControllerEmulator::transactions(uint8_t command) const {
    std::lock_guard<std::mutex> lock(mutex_);
    int n = 0;
    for (uint8_t t : transactions_)
        n += t == command;
    return n;
}

void ControllerEmulator::inject(const Bytes &bytes) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        quiet_until_us_ = real_now_us() + kQuietAfterUs;
    }
    peer_->send(bytes);
}

void ControllerEmulator::set_temperature(int degrees) {
    std::lock_guard<std::mutex> lock(mutex_);
    temperature_ = degrees;
}

void ControllerEmulator::set_fan_value(int fan, uint8_t value) {
    std::lock_guard<std::mutex> lock(mutex_);
    fan_value_[fan == 2 ? 1 : 0] = value;
}

void ControllerEmulator::set_fan_answer(const Bytes &bytes) {
    std::lock_guard<std::mutex> lock(mutex_);
    fan_answer_ = bytes;
}

void ControllerEmulator::set_silent(bool silent) {
    std::lock_guard<std::mutex> lock(mutex_);
    silent_ = silent;
}

void ControllerEmulator::set_eeprom_checksum_wrong(bool wrong) {
    std::lock_guard<std::mutex> lock(mutex_);
    checksum_wrong_ = wrong;
}

void ControllerEmulator::set_eeprom_answer_cut(int data_bytes) {
    std::lock_guard<std::mutex> lock(mutex_);
    answer_cut_ = data_bytes;
}

void ControllerEmulator::keep_eeprom_in(const std::string &path) {
    std::lock_guard<std::mutex> lock(mutex_);
    eeprom_file_ = path;
    std::string bytes = read_file(path);
    for (size_t i = 0; i < bytes.size() && i < eeprom_.size(); ++i)
        eeprom_[i] = static_cast<uint8_t>(bytes[i]);
}

namespace {
std::unique_ptr<ControllerEmulator> &described() {
    static std::unique_ptr<ControllerEmulator> emulator;
    return emulator;
}
}  // namespace

ControllerEmulator *attach_described_controller() {
    if (!exists("/sim/controller.conf"))
        return nullptr;
    ControllerKind kind = ControllerKind::Pic;
    int link = 1;
    const std::vector<DescriptionEntry> entries = read_description("/sim/controller.conf", 2);
    for (const DescriptionEntry &e : entries) {
        if (e[0] == "kind")
            kind = e[1] == "mcu" ? ControllerKind::Mcu : ControllerKind::Pic;
        else if (e[0] == "link")
            link = std::atoi(e[1].c_str());
    }
    auto emu = ControllerEmulator::attach(kind, link);
    if (!emu)
        return nullptr;
    const std::string image = "/sim/controller-eeprom.bin";
    const bool fresh = !exists(image);
    for (DescriptionEntry e : entries) {
        e.resize(3);
        const std::string &key = e[0], &a = e[1], &b = e[2];
        if (key == "temperature") {
            emu->set_temperature(std::atoi(a.c_str()));
        } else if (key == "fan") {
            emu->set_fan_value(std::atoi(a.c_str()), static_cast<uint8_t>(std::atoi(b.c_str())));
        } else if (key == "serial" && fresh) {
            emu->set_serial(a);
        } else if (key == "mac" && fresh) {
            const int index = std::atoi(a.c_str());
            const int place = kind == ControllerKind::Mcu
                                  ? index * cf::kMcuMacStride + cf::kMcuMacBase
                                  : index * cf::kPicMacStride + cf::kPicMacBase;
            Bytes text(b.begin(), b.end());
            text.push_back(0);
            emu->set_eeprom(place, text);
        }
    }
    if (fresh) {
        Bytes bytes = emu->eeprom();
        write_file(image, std::string(bytes.begin(), bytes.end()));
    }
    emu->keep_eeprom_in(image);
    described() = std::move(emu);
    return described().get();
}

ControllerEmulator *described_controller() {
    return described().get();
}

void detach_described_controller() {
    described().reset();
}

}  // namespace nashal::sim
