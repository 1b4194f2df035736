#include "foundation/ini_document.h"

#include <cstring>

namespace nashal::ini {
namespace {

bool blank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
}

std::string trim(const std::string &s) {
    size_t b = 0, e = s.size();
    while (b < e && blank(s[b]))
        ++b;
    while (e > b && blank(s[e - 1]))
        --e;
    return s.substr(b, e - b);
}

std::string trim(const char *s) {
    return trim(std::string(s));
}

}  // namespace

Document::Line Document::classify(std::string text) {
    Line line{std::move(text), Kind::Other, {}, {}};
    std::string t = trim(line.text);
    if (t.empty()) {
        line.kind = Kind::Blank;
    } else if (t[0] == ';' || t[0] == '#') {
        line.kind = Kind::Comment;
    } else if (t[0] == '[') {
        size_t close = t.rfind(']');
        if (close != std::string::npos) {
            line.kind = Kind::Section;
            line.name = trim(t.substr(1, close - 1));
        }
    } else if (size_t eq = t.find('='); eq != std::string::npos) {
        line.kind = Kind::Field;
        line.name = trim(t.substr(0, eq));
        line.value = trim(t.substr(eq + 1));
    }
    return line;
}

Document::Line Document::field_line(const std::string &field, const std::string &value) {
    std::string name = trim(field);
    std::string v = trim(value);
    std::string text = v.empty() ? name + " =" : name + " = " + v;
    return Line{text, Kind::Field, name, v};
}

bool Document::same_section(const std::string *line_section, const char *section) {
    if (!section)
        return line_section == nullptr;
    return line_section && *line_section == trim(section);
}

Document Document::parse(const char *data, size_t size) {
    Document doc;
    size_t start = 0;
    while (start < size) {
        const void *nl = std::memchr(data + start, '\n', size - start);
        size_t end = nl ? static_cast<size_t>(static_cast<const char *>(nl) - data) : size;
        doc.lines_.push_back(classify(std::string(data + start, end - start)));
        start = end + 1;
    }
    return doc;
}

std::string Document::serialize() const {
    std::string out;
    for (const Line &l : lines_) {
        out += l.text;
        out += '\n';
    }
    return out;
}

const std::string *Document::find(const char *section, const char *field) const {
    if (!field)
        return nullptr;
    std::string key = trim(field);
    const std::string *current = nullptr;
    for (const Line &l : lines_) {
        if (l.kind == Kind::Section)
            current = &l.name;
        else if (l.kind == Kind::Field && l.name == key && same_section(current, section))
            return &l.value;
    }
    return nullptr;
}

bool Document::has_section(const char *section) const {
    if (!section)
        return true;
    std::string name = trim(section);
    for (const Line &l : lines_)
        if (l.kind == Kind::Section && l.name == name)
            return true;
    return false;
}

bool Document::set(const char *section, const char *field, const std::string &value) {
    std::string key = trim(field);
    const std::string *current = nullptr;
    // Where the section's first block ends (after its last non-blank line), if it is present.
    bool section_seen = section == nullptr;
    size_t insert_at = 0;
    bool in_block = section == nullptr;
    for (size_t i = 0; i < lines_.size(); ++i) {
        Line &l = lines_[i];
        if (l.kind == Kind::Section) {
            current = &l.name;
            if (in_block && section_seen)
                in_block = false;
            if (!section_seen && same_section(current, section)) {
                section_seen = true;
                in_block = true;
                insert_at = i + 1;
            }
            continue;
        }
        if (l.kind == Kind::Field && l.name == key && same_section(current, section)) {
            std::string v = trim(value);
            if (l.value == v)
                return false;
            l = field_line(key, v);
            return true;
        }
        // A new field goes behind the section's last field; a comment after it may well
        // belong to the next section.
        if (in_block && (l.kind == Kind::Field || l.kind == Kind::Other))
            insert_at = i + 1;
    }
    if (!section_seen) {
        lines_.push_back(Line{"[" + trim(section) + "]", Kind::Section, trim(section), {}});
        insert_at = lines_.size();
    }
    lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(insert_at), field_line(key, value));
    return true;
}

bool Document::remove_field(const char *section, const char *field) {
    std::string key = trim(field);
    std::string current_name;
    const std::string *current = nullptr;
    std::vector<Line> kept;
    kept.reserve(lines_.size());
    bool changed = false;
    for (Line &l : lines_) {
        if (l.kind == Kind::Section) {
            current_name = l.name;
            current = &current_name;
        }
        if (l.kind == Kind::Field && l.name == key && same_section(current, section)) {
            changed = true;
            continue;
        }
        kept.push_back(std::move(l));
    }
    lines_ = std::move(kept);
    return changed;
}

bool Document::remove_section(const char *section) {
    if (!section)
        return false;
    std::string name = trim(section);
    std::vector<Line> kept;
    kept.reserve(lines_.size());
    bool dropping = false, changed = false;
    for (Line &l : lines_) {
        if (l.kind == Kind::Section)
            dropping = l.name == name;
        if (dropping) {
            changed = true;
            continue;
        }
        kept.push_back(std::move(l));
    }
    lines_ = std::move(kept);
    return changed;
}

bool valid_section_name(const char *section) {
    return !section || (!std::strchr(section, '\n') && !std::strchr(section, '\r'));
}

bool valid_field_name(const char *field) {
    if (!field || std::strchr(field, '\n') || std::strchr(field, '\r') || std::strchr(field, '='))
        return false;
    std::string t = trim(field);
    return !t.empty() && t[0] != '[' && t[0] != ';' && t[0] != '#';
}

bool valid_value(const char *value) {
    return value && !std::strchr(value, '\n') && !std::strchr(value, '\r');
}

}  // namespace nashal::ini
