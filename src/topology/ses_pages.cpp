// SES pages through sg_ses: the element type list (page 1, binary with -rr), the status page
// (page 2, hexadecimal text with --raw), where an element sits in it, and the control page
// sent back. Nothing is cached: an enclosure's state and presence change between calls.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "foundation/shell_command.h"
#include "nashal/comm_ses.h"
#include "nashal/hal_trace.h"
#include "topology/ses_layout.h"
#include "topology/ses_pages.h"

namespace nashal::topology {

int ses_decode_config_page(const unsigned char *page, size_t length, uint32_t (*types)[2],
                           int max_types) {
    // The answer buffer is cleared before the tool writes, so what lies past a short answer
    // reads as zero; the decoder keeps that view and never reads past the buffer.
    auto at = [&](size_t i) -> unsigned {
        return i < length && i < kSesAnswerBufLen ? page[i] : 0;
    };
    const size_t enc = kSesConfEncDescOffset;
    const int count = static_cast<int>(at(enc + kSesEncDescTypeCount));
    const size_t headers = enc + at(enc + kSesEncDescLength) + kSesEncDescHeaderLen;
    if (count > max_types ||
        headers + static_cast<size_t>(count) * kSesTypeHeaderLen > kSesAnswerBufLen)
        return -1;
    for (int i = 0; i < count; ++i) {
        size_t h = headers + static_cast<size_t>(i) * kSesTypeHeaderLen;
        types[i][0] = at(h + kSesTypeHeaderType);
        types[i][1] = at(h + kSesTypeHeaderPossible);
    }
    return count;
}

int ses_decode_raw_text(const char *text, size_t length, unsigned char *buffer, int size) {
    int count = 0;
    size_t i = 0;
    while (i < length) {
        while (i < length && (text[i] == ' ' || text[i] == '\n' || text[i] == '\r'))
            ++i;
        if (i >= length || text[i] == '\0')
            break;
        char token[16];
        size_t t = 0;
        while (i < length && text[i] != ' ' && text[i] != '\n' && text[i] != '\r' &&
               text[i] != '\0') {
            if (t + 1 < sizeof token)
                token[t++] = text[i];
            ++i;
        }
        token[t] = '\0';
        buffer[count++] = static_cast<unsigned char>(strtol(token, nullptr, 16));
        if (count >= size)
            return -1;
    }
    return count;
}

int ses_element_in_page(uint32_t type, int index, const uint32_t (*types)[2], int type_count,
                        int page_length, int *offset, const char *caller) {
    int at = 0;
    if (comm_sys_get_ses_control_element_offset(type, index, types, type_count, &at) != 0)
        return -1;
    if (page_length < 0 || at > page_length - static_cast<int>(kSesElementLen)) {
        ERR_TRACE(HAL_TRACE_ERROR,
                  "%s(%d):System Error, element %d of type %u at byte %d is outside the page of "
                  "%d bytes\n",
                  caller ? caller : "", __LINE__, index, type, at, page_length);
        return -1;
    }
    if (offset)
        *offset = at;
    return 0;
}

}  // namespace nashal::topology

using namespace nashal::topology;

extern "C" {

int comm_sys_get_ses_enc_conf(const char *sg_name, uint32_t (*types)[2], int max_types) {
    if (!sg_name || !types)
        return -1;
    std::unique_ptr<char[]> answer(new (std::nothrow) char[kSesAnswerBufLen]);
    if (!answer)
        return -1;
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command(__func__, command, sizeof command, "%s -p 0x1 -rr /dev/%s",
                                  "/sbin/sg_ses", sg_name) < 0)
        return -1;
    int n = comm_sys_read_from_popen(command, answer.get(), static_cast<int>(kSesAnswerBufLen));
    if (n <= 0)
        return -1;
    int count = ses_decode_config_page(reinterpret_cast<unsigned char *>(answer.get()),
                                       static_cast<size_t>(n), types, max_types);
    if (count < 0)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error, BUFFER overflow:enc_sys_id = %s\n",
                  __func__, __LINE__, sg_name);
    return count;
}

int comm_sys_get_ses_enc_status(const char *sg_name, unsigned char *buffer, int size) {
    if (!sg_name || !buffer || size <= 0)
        return -1;
    std::unique_ptr<char[]> answer(new (std::nothrow) char[kSesAnswerBufLen]);
    if (!answer)
        return -1;
    char command[HAL_CMD_LEN];
    if (nashal::hal_build_command(__func__, command, sizeof command, "%s -p 0x2 --raw /dev/%s",
                                  "/sbin/sg_ses", sg_name) < 0)
        return -1;
    int n = comm_sys_read_from_popen(command, answer.get(), static_cast<int>(kSesAnswerBufLen));
    if (n <= 0)
        return -1;
    int count = ses_decode_raw_text(answer.get(), static_cast<size_t>(n), buffer, size);
    if (count < 0)
        ERR_TRACE(HAL_TRACE_ERROR, "%s(%d):System Error, BUFFER overflow\n", __func__, __LINE__);
    return count;
}

int comm_sys_get_ses_control_element_offset(uint32_t type, int index, const uint32_t (*types)[2],
                                            int type_count, int *offset) {
    if (index < 1 || !types || !offset)
        return -1;
    size_t position = kSesStatusFirstDescriptor;
    for (int i = 0; i < type_count; ++i) {
        if (types[i][0] == type) {
            if (static_cast<uint32_t>(index) > types[i][1])
                return -1;
            // Index 1 is the type's overall element.
            *offset = static_cast<int>(position + kSesElementLen +
                                       kSesElementLen * static_cast<size_t>(index - 1));
            return 0;
        }
        position += kSesElementLen * types[i][1] + kSesElementLen;
        // A list no configuration page can give (each count is one byte there) must not wrap
        // the offset round.
        if (position > static_cast<size_t>(INT32_MAX / 2))
            return -1;
    }
    return -1;
}

int comm_sys_send_ses_enc_control(const char *sg_name, const unsigned char *data, int length) {
    if (!sg_name || !data || length < 0)
        return -1;
    const size_t text_len = 1024;
    const size_t command_len = 2048;
    std::unique_ptr<char[]> text(new (std::nothrow) char[text_len]);
    std::unique_ptr<char[]> command(new (std::nothrow) char[command_len]);
    if (!text || !command)
        return -1;
    size_t used = 0;
    text[0] = '\0';
    // Three characters a byte: 341 bytes fill the text. A longer page (none of the callers' is,
    // at 256 bytes) is cut there rather than written past the text.
    for (int i = 0; i < length && used + 3 < text_len; ++i)
        used += static_cast<size_t>(snprintf(text.get() + used, text_len - used, "%02x,", data[i]));
    if (used > 0)
        text[used - 1] = '\0';  // no comma after the last byte
    // The command is cut to 1024 bytes, as much as the tool's text takes.
    if (nashal::hal_build_command(__func__, command.get(), 1024,
                                  "%s -c -p 0x2 -d %s /dev/%s >& /dev/null", "/sbin/sg_ses",
                                  text.get(), sg_name) < 0)
        return -1;
    int status = system(command.get());
    (void)status;  // a failed write shows in the next status read
    return 0;
}

}  // extern "C"
