// The elements of a SAS expansion enclosure's SES status page: temperatures, fans, power
// supplies, the 7-segment display and the locate light. Each call reads the element type list
// and the status page afresh and, for a control, sends the page back whole with the SELECT
// bit on the elements it changes.
#include <cstdint>
#include <cstring>

#include "enclosure/sas_expander.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "nashal/pd_sys.h"
#include "topology/ses_layout.h"

using namespace nashal::topology;

namespace {

// The list and the page of one enclosure, as read for one call.
struct StatusPage {
    uint32_t types[SES_MAX_ELEMENT_TYPES][2] = {};
    int type_count = -1;
    unsigned char bytes[SES_STATUS_PAGE_LEN] = {};
    int length = -1;

    // False (the list unreadable) traces nothing; a page that can't be read traces.
    bool read(const char *who, const char *enc_sys_id) {
        type_count = comm_sys_get_ses_enc_conf(enc_sys_id, types, SES_MAX_ELEMENT_TYPES);
        if (type_count < 0)
            return false;
        length = comm_sys_get_ses_enc_status(enc_sys_id, bytes, sizeof bytes);
        if (length < 0) {
            ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): SYSTEM ERROR.\n", who, __LINE__);
            return false;
        }
        return true;
    }

    // The element's four bytes, or null when the type or index is not in the list. A hostile
    // configuration page can place an element past the status bytes the tool gave: such an
    // element is missing too, never read or written past the page.
    unsigned char *element(uint8_t type, int index) {
        int offset =
            nashal::enclosure::bounded_element_offset(type, index, types, type_count, length);
        return offset < 0 ? nullptr : bytes + offset;
    }

    // The element of bay `bay` (from 1, as the disks' port_id counts them). Element positions
    // count the type's overall element as 1, and stop at the type's element count: bay k is
    // the element right after position k. Taking position k itself would light bay k - 1's
    // lamp (bay 1 would reach the overall element), and position k + 1 would leave the last
    // bay out of reach.
    unsigned char *bay(uint8_t type, int bay) {
        if (bay < 1)
            return nullptr;
        int offset =
            nashal::enclosure::bounded_element_offset(type, bay, types, type_count, length);
        if (offset < 0 || offset + 2 * static_cast<int>(kSesElementLen) > length)
            return nullptr;
        return bytes + offset + kSesElementLen;
    }

    int send(const char *enc_sys_id) {
        return comm_sys_send_ses_enc_control(enc_sys_id, bytes, length);
    }
};

unsigned char *element_or_trace(StatusPage &page, const char *who, uint8_t type, int index) {
    unsigned char *e = page.element(type, index);
    if (!e)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): SYSTEM ERROR.\n", who, __LINE__);
    return e;
}

// Fan element by fan index: the two fans of the second bank (10 and 11) sit at elements 4 and
// 5, the others follow the overall element.
int fan_element(int fan_index) {
    return fan_index > 9 ? fan_index - 6 : fan_index + 1;
}

int temperature_element(int temp_index) {
    switch (temp_index) {
        case 0:
        case 1:
            return 1;
        case 10:
            return 3;
        case 11:
            return 4;
        default:
            return -1;
    }
}

void select_element(unsigned char *e) {
    e[kSesElementStatusByte] |= kSesElementSelect;
}

void set_bit(unsigned char *e, size_t byte, uint8_t bit, bool on) {
    if (on)
        e[byte] |= bit;
    else
        e[byte] &= static_cast<unsigned char>(~bit);
}

// The bay's slot element, selected: shelves list their bays as array device slots, or as plain
// device slots. Null (with a trace) when neither has the bay, or the pages can't be read.
unsigned char *slot_element(StatusPage &page, const char *who, const char *enc_sys_id,
                            int port_id) {
    if (!page.read(who, enc_sys_id))
        return nullptr;
    unsigned char *e = page.bay(kSesTypeArrayDeviceSlot, port_id);
    if (!e)
        e = page.bay(kSesTypeDeviceSlot, port_id);
    if (!e) {
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d): no slot element %d\n", who, __LINE__, port_id);
        return nullptr;
    }
    select_element(e);
    return e;
}

}  // namespace

extern "C" {

int sas_expander_get_temperature(const char *enc_sys_id, int temp_index, double *temperature) {
    int index = temperature_element(temp_index);
    if (index < 0 || !temperature)
        return -1;
    StatusPage page;
    if (!page.read(__func__, enc_sys_id))
        return -1;
    unsigned char *e = element_or_trace(page, __func__, kSesTypeTemperature, index);
    if (!e)
        return -1;
    *temperature = static_cast<int8_t>(e[kSesTemperatureByte] - kSesTemperatureOffset);
    return 0;
}

int sas_expander_get_fan_speed(const char *enc_sys_id, int fan_index, int *speed, int *status) {
    if (!speed || !status)
        return -1;
    StatusPage page;
    if (!page.read(__func__, enc_sys_id))
        return -1;
    unsigned char *e = element_or_trace(page, __func__, kSesTypeCooling, fan_element(fan_index));
    if (!e)
        return -1;
    if ((e[kSesElementStatusByte] & kSesStatusCodeMask) != kSesStatusOk)
        *status = 1;
    *speed = (((e[kSesCoolingSpeedHighByte] & kSesCoolingSpeedHighMask) << 8) |
              e[kSesCoolingSpeedLowByte]) *
             kSesCoolingSpeedUnit;
    return 0;
}

int sas_expander_set_fan_speed(const char *enc_sys_id, int level) {
    StatusPage page;
    if (!page.read(__func__, enc_sys_id))
        return -1;
    // Element 1, the overall cooling element, sets every fan at once.
    unsigned char *e = element_or_trace(page, __func__, kSesTypeCooling, 1);
    if (!e)
        return -1;
    select_element(e);
    e[kSesCoolingCodeByte] = static_cast<unsigned char>(
        (e[kSesCoolingCodeByte] & ~kSesCoolingCodeMask) | (level & kSesCoolingCodeMask));
    page.send(enc_sys_id);
    return 0;
}

int sas_expander_get_power_supply_status(const char *enc_sys_id, int index, int *status) {
    if ((index != 1 && index != 2) || !status)
        return -1;
    StatusPage page;
    if (!page.read(__func__, enc_sys_id))
        return -1;
    unsigned char *e = element_or_trace(page, __func__, kSesTypePowerSupply, index);
    if (!e)
        return -1;
    switch (e[kSesElementStatusByte] & kSesStatusCodeMask) {
        case kSesStatusOk:
            *status = 0;
            break;
        case kSesStatusNotInstalled:
            *status = -2;
            break;
        default:
            *status = -1;
            break;
    }
    return 0;
}

int sas_expander_set_7_segment_led(const char *enc_sys_id, int value) {
    StatusPage page;
    if (!page.read(__func__, enc_sys_id))
        return -1;
    auto show = [](unsigned char *e, int digit) {
        select_element(e);
        e[kSesDisplayModeByte] = kSesDisplayModeCharacter;
        e[kSesDisplayCharacterByte] = static_cast<unsigned char>('0' + digit);
    };
    unsigned char *first = element_or_trace(page, __func__, kSesTypeDisplay, 1);
    if (!first)
        return -1;
    // A second display element makes a two-digit display: it shows the units and the first
    // the tens. A one-digit display shows the units alone.
    if (unsigned char *units = page.element(kSesTypeDisplay, 2)) {
        show(units, value % 10);
        show(first, (value / 10) % 10);
    } else {
        show(first, value % 10);
    }
    page.send(enc_sys_id);
    return 0;
}

int sas_expander_set_ident_led(const char *enc_sys_id, int enable) {
    StatusPage page;
    if (!page.read(__func__, enc_sys_id))
        return -1;
    unsigned char *e = element_or_trace(page, __func__, kSesTypeEnclosure, 1);
    if (!e)
        return -1;
    select_element(e);
    if (enable)
        e[kSesEnclosureLocateByte] |= kSesEnclosureLocate;
    else
        e[kSesEnclosureLocateByte] &= static_cast<unsigned char>(~kSesEnclosureLocate);
    page.send(enc_sys_id);
    return 0;
}

int sas_expander_set_hdd_err_led(const char *enc_sys_id, int port_id, int on) {
    StatusPage page;
    unsigned char *e = slot_element(page, __func__, enc_sys_id, port_id);
    if (!e)
        return -1;
    set_bit(e, kSesSlotFaultByte, kSesSlotFault, on);
    return page.send(enc_sys_id);
}

int sas_expander_set_hdd_ident_led(const char *enc_sys_id, int port_id, int on, int err_state) {
    StatusPage page;
    unsigned char *e = slot_element(page, __func__, enc_sys_id, port_id);
    if (!e)
        return -1;
    // The bay has one amber lamp: locate takes it over, and when locate ends a bay in error
    // shows its fault again.
    set_bit(e, kSesSlotIdentByte, kSesSlotIdent, on);
    set_bit(e, kSesSlotFaultByte, kSesSlotFault, !on && err_state);
    return page.send(enc_sys_id);
}

}  // extern "C"
