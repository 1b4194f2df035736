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

namespace {

// Where a line that starts at p ends (its '\n' or the end of the bytes).
const char *line_end(const char *p, const char *end) {
    const void *nl = std::memchr(p, '\n', static_cast<size_t>(end - p));
    return nl ? static_cast<const char *>(nl) : end;
}

// The first line at or after p whose first non-blank character is "[": a section header or a
// line scan_line calls Other. End when there is none.
const char *next_bracket_line(const char *p, const char *begin, const char *end) {
    while (p < end) {
        const void *hit = std::memchr(p, '[', static_cast<size_t>(end - p));
        if (!hit)
            return end;
        const char *b = static_cast<const char *>(hit);
        const char *s = b;
        while (s > begin && blank(s[-1]))
            --s;
        if (s == begin || s[-1] == '\n')
            return s;
        p = b + 1;
    }
    return end;
}

// Whether the bytes from p (up to end) begin with the name. Names are short: a plain loop does
// better than a library call here.
bool starts_with(const char *p, const char *end, std::string_view name) {
    if (static_cast<size_t>(end - p) < name.size())
        return false;
    // Names of one file mostly differ in their last characters ("PhysicalDisk_%d"): try the
    // last one first.
    if (!name.empty() && p[name.size() - 1] != name.back())
        return false;
    for (char c : name)
        if (*p++ != c)
            return false;
    return true;
}

}  // namespace

// The same answer as scan_line over every line, without classifying the lines of other
// sections: those are only looked at for a "[" that starts them.
bool lookup(std::string_view bytes, const char *section, const char *field,
            std::string_view *value) {
    if (!field)
        return false;
    std::string_view key = trim(field), sec = wanted_name(section);
    // A name holds no "=": it ends at the first one.
    if (key.find('=') != std::string_view::npos)
        return false;
    const char *begin = bytes.data(), *end = begin + bytes.size();
    const char *p = begin;
    bool in_wanted = section == nullptr;
    while (p < end) {
        if (!in_wanted) {
            // A null section only has the lines before the first header.
            if (!section)
                return false;
            p = next_bracket_line(p, begin, end);
            if (p == end)
                return false;
            // Outside the section a header whose name doesn't begin as the wanted one can only
            // keep the walk outside: passed over without finding where its line ends.
            const char *n = p;
            while (blank(*n))
                ++n;
            ++n;  // the "["
            while (n < end && blank(*n))
                ++n;
            if (!starts_with(n, end, sec)) {
                p = n;
                continue;
            }
        }
        const char *eol = line_end(p, end);
        const char *b = p;
        while (b < eol && blank(*b))
            ++b;
        if (b < eol && *b == '[') {
            LineView v = scan_line(std::string_view(b, static_cast<size_t>(eol - b)));
            if (v.kind == LineKind::Section)
                in_wanted = section && v.name == sec;
        } else if (in_wanted && b < eol && *b != ';' && *b != '#' && starts_with(b, eol, key)) {
            const char *q = b + key.size();
            while (q < eol && blank(*q))
                ++q;
            if (q < eol && *q == '=') {
                if (value)
                    *value = trim(std::string_view(q + 1, static_cast<size_t>(eol - q - 1)));
                return true;
            }
        }
        p = eol == end ? end : eol + 1;
    }
    return false;
}

size_t section_start(std::string_view bytes, const char *section) {
    if (!section)
        return std::string_view::npos;
    std::string_view sec = wanted_name(section);
    const char *begin = bytes.data(), *end = begin + bytes.size();
    for (const char *p = next_bracket_line(begin, begin, end); p != end;) {
        const char *eol = line_end(p, end);
        LineView v = scan_line(std::string_view(p, static_cast<size_t>(eol - p)));
        if (v.kind == LineKind::Section && v.name == sec)
            return static_cast<size_t>(p - begin);
        p = eol == end ? end : next_bracket_line(eol + 1, begin, end);
    }
    return std::string_view::npos;
}

namespace {

std::string field_text(std::string_view key, std::string_view value) {
    std::string v(trim(value));
    return v.empty() ? std::string(key) + " =" : std::string(key) + " = " + v;
}

}  // namespace

bool set_field(std::string &bytes, const char *section, const char *field, std::string_view value) {
    std::string_view key = trim(field), sec = wanted_name(section);
    SectionCursor cursor;
    // The field goes behind the last field of the section's first block: a comment after it
    // may well belong to the next section. Before the first header when the section is null.
    bool section_seen = section == nullptr;
    bool in_block = section == nullptr;
    size_t insert_at = 0;
    const size_t size = bytes.size();
    // Offsets past a last line without its '\n' count as if it had one: the change adds it.
    size_t pos = 0;
    while (pos < size) {
        size_t nl = bytes.find('\n', pos);
        size_t eol = nl == std::string::npos ? size : nl;
        size_t next = eol + 1;
        LineView v = scan_line(std::string_view(bytes).substr(pos, eol - pos));
        if (v.kind == LineKind::Section) {
            cursor.enter(v.name);
            in_block = false;
            if (!section_seen && cursor.is(section, sec)) {
                section_seen = in_block = true;
                insert_at = next;
            }
        } else if (v.kind == LineKind::Field && v.name == key && cursor.is(section, sec)) {
            if (v.value == trim(value))
                return false;
            std::string text = field_text(key, value);
            if (bytes.back() != '\n')
                bytes += '\n';
            bytes.replace(pos, eol - pos, text);
            return true;
        } else if (in_block && (v.kind == LineKind::Field || v.kind == LineKind::Other)) {
            insert_at = next;
        }
        pos = next;
    }
    // From here on the cursor's names, which point into the bytes, are no longer looked at.
    if (!bytes.empty() && bytes.back() != '\n')
        bytes += '\n';
    std::string text = field_text(key, value) + '\n';
    if (!section_seen) {
        bytes += '[';
        bytes += sec;
        bytes += "]\n";
        bytes += text;
    } else {
        bytes.insert(insert_at, text);
    }
    return true;
}

Document::Line Document::classify(std::string text) {
    LineView v = scan_line(text);
    return Line{text, v.kind, std::string(v.name), std::string(v.value)};
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
