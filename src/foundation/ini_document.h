// The text form of a store file, parsed from bytes and written back.
//
//   field outside any section = value
//   [Section Name]
//   field name = value
//   ; a comment        # a comment too
//
// Names are compared exactly, after the blanks around them are cut. A value is the text behind
// the first "=", with the blanks around it cut. Lines the parser doesn't understand, comments
// and blank lines are kept byte for byte, so a hand-written file (a model file) keeps its look
// when a field of it is changed. Only the lines that an edit touches are rewritten.
//
// Queries and sets work on the file's bytes directly (lookup, set_field): they are the calls the
// registry makes all the time, and building a document of a few hundred lines would cost more
// than reading the file. The document serves the rarer removals.
#ifndef NASHAL_FOUNDATION_INI_DOCUMENT_H
#define NASHAL_FOUNDATION_INI_DOCUMENT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace nashal::ini {

enum class LineKind { Blank, Comment, Section, Field, Other };

// One line as the parser understands it; name and value point into the line.
struct LineView {
    LineKind kind;
    std::string_view name;   // section or field name, blanks cut
    std::string_view value;  // field value, blanks cut
};
LineView scan_line(std::string_view line);

// The value of one field straight from a file's bytes, without building a document: what a
// query does. A null section names the fields before the first section. False when absent; the
// value points into the bytes.
bool lookup(std::string_view bytes, const char *section, const char *field,
            std::string_view *value);

// Where the first header of a section begins in a file's bytes (npos when there is none). A
// lookup in that section gives the same answer on the bytes from there on as on the whole, so
// a reader that asks many fields of one section looks for it once. Not for the null section.
size_t section_start(std::string_view bytes, const char *section);

// Sets one field straight in a file's bytes, creating the section and the field when missing;
// the bytes end as Document::parse(bytes) with the same set would write them. False, with the
// bytes untouched, when the field already holds the value. The names must be valid (below).
bool set_field(std::string &bytes, const char *section, const char *field, std::string_view value);

class Document {
  public:
    // Never fails: any bytes give a document (NUL bytes and invalid lines included).
    static Document parse(const char *data, size_t size);
    std::string serialize() const;

    // The value of a field, or null. A null section names the fields before the first section.
    const std::string *find(const char *section, const char *field) const;
    bool has_section(const char *section) const;

    // Each returns true when the document changed.
    bool remove_field(const char *section, const char *field);
    bool remove_section(const char *section);

  private:
    struct Line {
        std::string text;  // as read, without the line end
        LineKind kind;
        std::string name;  // section or field name
        std::string value;
    };
    static Line classify(std::string text);

    std::vector<Line> lines_;
};

// Whether a name or value can be written without changing the meaning of the file: no line
// breaks; a field name also without "=", and not starting as a section or a comment would.
bool valid_section_name(const char *section);
bool valid_field_name(const char *field);
bool valid_value(const char *value);

}  // namespace nashal::ini

#endif  // NASHAL_FOUNDATION_INI_DOCUMENT_H
