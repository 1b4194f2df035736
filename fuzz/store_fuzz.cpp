// The store's text parser on arbitrary bytes: a file written by hand or cut off by a power loss
// must never crash a reader, and what the store writes back must read back the same.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/ini_document.h"
#include "foundation/ini_number.h"

using nashal::ini::Document;

namespace {

void check(bool ok) {
    if (!ok)
        __builtin_trap();
}

// The first line of the input, up to a limit, as a name to look up and set.
std::string first_line(const std::string &text, size_t from, size_t limit) {
    if (from >= text.size())
        return {};
    size_t end = text.find('\n', from);
    if (end == std::string::npos)
        end = text.size();
    return text.substr(from, end - from < limit ? end - from : limit);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const char *bytes = reinterpret_cast<const char *>(data);
    std::string text(bytes, size);

    // Unchanged lines are written back byte for byte.
    Document doc = Document::parse(bytes, size);
    std::string written = doc.serialize();
    std::string expected = text;
    if (!expected.empty() && expected.back() != '\n')
        expected += '\n';
    check(written == expected);

    // A field set in any document is found there and after a write and a read.
    std::string section = first_line(text, 0, 40);
    std::string field = first_line(text, section.size() + 1, 40);
    std::string value = first_line(text, section.size() + field.size() + 2, 80);
    const char *sec = section.empty() ? nullptr : section.c_str();
    bool names_ok =
        std::strlen(field.c_str()) == field.size() &&
        std::strlen(section.c_str()) == section.size() &&
        std::strlen(value.c_str()) == value.size() && nashal::ini::valid_section_name(sec) &&
        nashal::ini::valid_field_name(field.c_str()) && nashal::ini::valid_value(value.c_str()) &&
        (!sec || section.find(']') == std::string::npos);
    // A query straight from the bytes finds what the document finds.
    if (std::strlen(field.c_str()) == field.size() &&
        std::strlen(section.c_str()) == section.size()) {
        std::string_view direct;
        const std::string *in_doc = doc.find(sec, field.c_str());
        bool found = nashal::ini::lookup(text, sec, field.c_str(), &direct);
        check(found == (in_doc != nullptr) && (!found || direct == *in_doc));
        // A lookup from the section's first header on, as a snapshot does, finds the same.
        if (sec) {
            size_t start = nashal::ini::section_start(text, sec);
            std::string_view from = start == std::string_view::npos
                                        ? std::string_view()
                                        : std::string_view(text).substr(start);
            std::string_view narrowed;
            bool found_from = nashal::ini::lookup(from, sec, field.c_str(), &narrowed);
            check(found_from == found && (!found || narrowed == direct));
        }
    }

    if (names_ok) {
        // A set is found after a write and a read, and leaves every other line as it was.
        std::string edited = text;
        nashal::ini::set_field(edited, sec, field.c_str(), value);
        Document reread = Document::parse(edited.data(), edited.size());
        const std::string *back = reread.find(sec, field.c_str());
        std::string_view trimmed_value;
        check(back != nullptr && nashal::ini::lookup(edited, sec, field.c_str(), &trimmed_value) &&
              *back == trimmed_value);
        std::string again = edited;
        check(!nashal::ini::set_field(again, sec, field.c_str(), value) && again == edited);
        reread.remove_field(sec, field.c_str());
        check(reread.find(sec, field.c_str()) == nullptr);
        if (sec) {
            std::string with = reread.serialize();
            nashal::ini::set_field(with, sec, field.c_str(), value);
            Document doc2 = Document::parse(with.data(), with.size());
            doc2.remove_section(sec);
            check(!doc2.has_section(sec));
        }
    }

    // Bitmap and integer texts: what is written reads back as the same bits.
    std::string head = first_line(text, 0, 300);
    std::vector<bool> bits = nashal::ini::parse_bitmap(head.c_str());
    std::string bitmap = nashal::ini::format_bitmap(bits);
    std::vector<bool> bits_back = nashal::ini::parse_bitmap(bitmap.c_str());
    bits.resize(nashal::ini::kBitmapBits);
    bits_back.resize(nashal::ini::kBitmapBits);
    check(bits == bits_back);
    int32_t v = 0;
    for (int format = 0; format < 2; ++format) {
        if (nashal::ini::parse_int32(head.c_str(), format, &v)) {
            char out[16];
            nashal::ini::format_int32(v, format, out, sizeof out);
            int32_t w = 0;
            check(nashal::ini::parse_int32(out, format, &w) && w == v);
        }
    }
    return 0;
}
