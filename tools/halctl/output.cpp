#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "halctl.h"

namespace halctl {

Output::Field Output::hex(std::string key, unsigned long long value) {
    char buf[32];
    snprintf(buf, sizeof buf, "0x%llx", value);
    return {std::move(key), buf, false};
}

std::string json_escape(const std::string &s) {
    std::string out;
    for (unsigned char c : s) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (c < 0x20) {
                    char buf[8];
                    snprintf(buf, sizeof buf, "\\u%04x", c);
                    out += buf;
                } else {
                    out += static_cast<char>(c);
                }
        }
    }
    return out;
}

namespace {

std::string json_key(const std::string &key) {
    std::string out;
    for (unsigned char c : key)
        out += c == ' ' ? '_' : static_cast<char>(tolower(c));
    return json_escape(out);
}

std::string json_members(const Output::Record &r) {
    std::string s;
    for (size_t i = 0; i < r.size(); ++i) {
        if (i)
            s += ", ";
        s += "\"" + json_key(r[i].key) + "\": ";
        s += r[i].null ? "null" : r[i].numeric ? r[i].value : "\"" + json_escape(r[i].value) + "\"";
    }
    return s;
}

void append_list(std::string &to, const std::string &more, const char *separator) {
    if (more.empty())
        return;
    if (!to.empty())
        to += separator;
    to += more;
}

}  // namespace

void Output::record(const Record &r) {
    if (json_) {
        append_list(fields_, json_members(r), ", ");
        return;
    }
    size_t width = 0;
    for (const auto &f : r)
        width = std::max(width, f.key.size());
    for (const auto &f : r)
        printf("%-*s  %s\n", static_cast<int>(width + 1), (f.key + ":").c_str(), f.value.c_str());
}

void Output::table(const std::vector<Record> &rows) {
    if (json_) {
        has_table_ = true;
        for (const auto &r : rows)
            append_list(items_, "{" + json_members(r) + "}", ",\n  ");
        return;
    }
    if (rows.empty()) {
        printf("(none)\n");
        return;
    }
    std::vector<size_t> width(rows[0].size(), 0);
    for (size_t c = 0; c < rows[0].size(); ++c)
        width[c] = rows[0][c].key.size();
    for (const auto &r : rows)
        for (size_t c = 0; c < r.size() && c < width.size(); ++c)
            width[c] = std::max(width[c], r[c].value.size());
    for (size_t c = 0; c < width.size(); ++c)
        printf("%-*s%s", static_cast<int>(width[c]), rows[0][c].key.c_str(),
               c + 1 < width.size() ? "  " : "\n");
    for (const auto &r : rows)
        for (size_t c = 0; c < r.size() && c < width.size(); ++c)
            printf("%-*s%s", static_cast<int>(width[c]), r[c].value.c_str(),
                   c + 1 < width.size() ? "  " : "\n");
}

void Output::message(const std::string &text) {
    if (json_)
        messages_ += (messages_.empty() ? "" : "\n") + text;
    else
        printf("%s\n", text.c_str());
}

void Output::event(const Record &r) {
    if (!json_) {
        record(r);
        return;
    }
    streamed_ = true;
    printf("{\"schema\": \"%s\", %s}\n", kJsonSchema, json_members(r).c_str());
    fflush(stdout);
}

void Output::finish() {
    if (!json_ || (streamed_ && fields_.empty() && !has_table_ && messages_.empty()))
        return;
    std::string doc = std::string("{\"schema\": \"") + kJsonSchema + "\"";
    if (!fields_.empty())
        doc += ", " + fields_;
    if (has_table_)
        doc += ", \"items\": [" + items_ + "]";
    if (!messages_.empty())
        doc += ", \"message\": \"" + json_escape(messages_) + "\"";
    printf("%s}\n", doc.c_str());
}

bool parse_int(const std::string &text, long long &out) {
    if (text.empty())
        return false;
    char *end = nullptr;
    errno = 0;
    out = std::strtoll(text.c_str(), &end, 0);
    return errno == 0 && end && *end == '\0';
}

}  // namespace halctl
