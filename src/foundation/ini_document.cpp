#include "foundation/ini_document.h"

#include <cstring>

namespace nashal::ini {
namespace {

bool blank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
}

std::string_view trim(std::string_view s) {
    size_t b = 0, e = s.size();
    while (b < e && blank(s[b]))
        ++b;
    while (e > b && blank(s[e - 1]))
        --e;
    return s.substr(b, e - b);
}

// The section a line stands in, as the walks over a file track it: none before the first
// section header.
struct SectionCursor {
    bool in_section = false;
    std::string_view name;

    void enter(std::string_view section) {
        in_section = true;
        name = section;
    }
    // Whether the current section is the one asked for (null: before the first header).
    bool is(const char *section, std::string_view wanted) const {
        return section ? in_section && name == wanted : !in_section;
    }
};

std::string_view wanted_name(const char *name) {
    return name ? trim(name) : std::string_view();
}

}  // namespace

LineView scan_line(std::string_view line) {
    std::string_view t = trim(line);
    if (t.empty())
        return {LineKind::Blank, {}, {}};
    if (t[0] == ';' || t[0] == '#')
        return {LineKind::Comment, {}, {}};
    if (t[0] == '[') {
        size_t close = t.rfind(']');
        if (close == std::string_view::npos)
            return {LineKind::Other, {}, {}};
        return {LineKind::Section, trim(t.substr(1, close - 1)), {}};
    }
    size_t eq = t.find('=');
    if (eq == std::string_view::npos)
        return {LineKind::Other, {}, {}};
    return {LineKind::Field, trim(t.substr(0, eq)), trim(t.substr(eq + 1))};
}

bool lookup(std::string_view bytes, const char *section, const char *field, std::string *value) {
    if (!field)
        return false;
    std::string_view key = trim(field), sec = wanted_name(section);
    SectionCursor cursor;
    while (!bytes.empty()) {
        size_t nl = bytes.find('\n');
        std::string_view line = bytes.substr(0, nl);
        bytes = nl == std::string_view::npos ? std::string_view() : bytes.substr(nl + 1);
        LineView v = scan_line(line);
        if (v.kind == LineKind::Section) {
            cursor.enter(v.name);
        } else if (v.kind == LineKind::Field && v.name == key && cursor.is(section, sec)) {
            if (value)
                value->assign(v.value);
            return true;
        }
    }
    return false;
}

Document::Line Document::classify(std::string text) {
    LineView v = scan_line(text);
    return Line{text, v.kind, std::string(v.name), std::string(v.value)};
}

Document::Line Document::field_line(std::string_view field, std::string_view value) {
    std::string name(trim(field)), v(trim(value));
    std::string text = v.empty() ? name + " =" : name + " = " + v;
    return Line{text, LineKind::Field, name, v};
}

Document Document::parse(const char *data, size_t size) {
    Document doc;
    std::string_view bytes(data, size);
    while (!bytes.empty()) {
        size_t nl = bytes.find('\n');
        doc.lines_.push_back(classify(std::string(bytes.substr(0, nl))));
        bytes = nl == std::string_view::npos ? std::string_view() : bytes.substr(nl + 1);
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
    std::string_view key = trim(field), sec = wanted_name(section);
    SectionCursor cursor;
    for (const Line &l : lines_) {
        if (l.kind == LineKind::Section)
            cursor.enter(l.name);
        else if (l.kind == LineKind::Field && l.name == key && cursor.is(section, sec))
            return &l.value;
    }
    return nullptr;
}

bool Document::has_section(const char *section) const {
    if (!section)
        return true;
    std::string_view name = trim(section);
    for (const Line &l : lines_)
        if (l.kind == LineKind::Section && l.name == name)
            return true;
    return false;
}

bool Document::set(const char *section, const char *field, const std::string &value) {
    std::string_view key = trim(field), sec = wanted_name(section);
    SectionCursor cursor;
    // The field goes behind the last field of the section's first block: a comment after it
    // may well belong to the next section. Before the first header when the section is null.
    bool section_seen = section == nullptr;
    bool in_block = section == nullptr;
    size_t insert_at = 0;
    for (size_t i = 0; i < lines_.size(); ++i) {
        Line &l = lines_[i];
        if (l.kind == LineKind::Section) {
            cursor.enter(l.name);
            in_block = false;
            if (!section_seen && cursor.is(section, sec)) {
                section_seen = in_block = true;
                insert_at = i + 1;
            }
            continue;
        }
        if (l.kind == LineKind::Field && l.name == key && cursor.is(section, sec)) {
            if (l.value == trim(value))
                return false;
            l = field_line(key, value);
            return true;
        }
        if (in_block && (l.kind == LineKind::Field || l.kind == LineKind::Other))
            insert_at = i + 1;
    }
    if (!section_seen) {
        std::string name(sec);
        lines_.push_back(Line{"[" + name + "]", LineKind::Section, name, {}});
        insert_at = lines_.size();
    }
    lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(insert_at), field_line(key, value));
    return true;
}

bool Document::remove_field(const char *section, const char *field) {
    std::string_view key = trim(field), sec = wanted_name(section);
    SectionCursor cursor;
    std::vector<Line> kept;
    kept.reserve(lines_.size());
    bool changed = false;
    for (Line &l : lines_) {
        if (l.kind == LineKind::Field && l.name == key && cursor.is(section, sec)) {
            changed = true;
            continue;
        }
        kept.push_back(std::move(l));
        // The cursor looks at the moved line: kept has its room reserved and doesn't move.
        if (kept.back().kind == LineKind::Section)
            cursor.enter(kept.back().name);
    }
    lines_ = std::move(kept);
    return changed;
}

bool Document::remove_section(const char *section) {
    if (!section)
        return false;
    std::string_view name = trim(section);
    std::vector<Line> kept;
    kept.reserve(lines_.size());
    bool dropping = false, changed = false;
    for (Line &l : lines_) {
        if (l.kind == LineKind::Section)
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
    std::string_view t = trim(field);
    return !t.empty() && t[0] != '[' && t[0] != ';' && t[0] != '#';
}

bool valid_value(const char *value) {
    return value && !std::strchr(value, '\n') && !std::strchr(value, '\r');
}

}  // namespace nashal::ini
