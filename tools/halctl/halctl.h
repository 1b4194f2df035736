// halctl: the field engineer's view of the library. Commands live one topic per file and
// register themselves with HALCTL_COMMAND; each prints a human table or, with --json, stable
// machine output through Output.
#ifndef NASHAL_HALCTL_H
#define NASHAL_HALCTL_H

#include <string>
#include <utility>
#include <vector>

namespace halctl {

// Exit codes.
constexpr int kOk = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

// The version of the JSON answers. Field names and types stay as docs/halctl-json.md gives them
// for as long as this holds; a change of shape raises the number.
constexpr const char *kJsonSchema = "nashal.halctl/1";

// Output in two forms. Human form: "key: value" lines for objects, aligned columns for lists of
// records, printed as they come. JSON form: one object per run, written by finish(): "schema"
// first, then the fields of the records, a table as "items" and the messages as "message", so
// that every command's answer is one document a script can parse and check the version of.
class Output {
  public:
    explicit Output(bool json) : json_(json) {}
    bool json() const { return json_; }

    // A single record: ordered key/value pairs. Values that look like integers are printed
    // as JSON numbers when marked numeric.
    // In JSON form a key is written in lower case with "_" for each space ("maps back to" is
    // "maps_back_to"), so that every answer's field names have one form.
    struct Field {
        std::string key;
        std::string value;
        bool numeric = false;
        bool null = false;  // a value that could not be read: `value` for people, null in JSON
    };
    using Record = std::vector<Field>;

    static Field text(std::string key, std::string value) {
        return {std::move(key), std::move(value), false};
    }
    static Field number(std::string key, long long value) {
        return {std::move(key), std::to_string(value), true};
    }
    static Field hex(std::string key, unsigned long long value);
    // A number (or other value) that could not be read: `shown` for people, null in JSON, so
    // that a field keeps one type whether or not its value was there.
    static Field none(std::string key, std::string shown = "-") {
        return {std::move(key), std::move(shown), false, true};
    }

    void record(const Record &r);
    void table(const std::vector<Record> &rows);
    // A message for people; in JSON form it becomes {"message": "..."}.
    void message(const std::string &text);
    // One record of a stream that goes on until interrupted: in JSON form a document of its own
    // on one line ("schema" first), written at once, so a reader follows it line by line.
    void event(const Record &r);
    // Writes the JSON document of the run; nothing in human form, nor after a stream alone.
    void finish();

  private:
    bool json_;
    std::string fields_;  // JSON members of the records, comma separated
    std::string items_;   // JSON objects of the table, comma separated
    bool has_table_ = false;
    bool streamed_ = false;
    std::string messages_;  // joined by newlines
};

struct Context {
    std::vector<std::string> args;  // after the command name
    Output &out;
};

using CommandFn = int (*)(Context &ctx);

struct Command {
    const char *name;
    const char *usage;  // arguments, e.g. "MASK [PATH]"
    const char *help;   // one line
    CommandFn fn;
};

struct CommandRegistrar {
    explicit CommandRegistrar(const Command &c);
};

const std::vector<Command> &commands();

// Reports a usage error for the running command on stderr and returns kUsage.
int usage_error(const Context &ctx, const std::string &why);
// Reports a failure on stderr and returns kFailed.
int failure(const std::string &why);

// Parses a whole decimal or 0x-hexadecimal integer; false when the text is not one.
bool parse_int(const std::string &text, long long &out);

std::string json_escape(const std::string &s);

}  // namespace halctl

#define HALCTL_COMMAND(ident, name, usage, help)                                                  \
    static int ident(halctl::Context &ctx);                                                       \
    static halctl::CommandRegistrar ident##_registrar(halctl::Command{name, usage, help, ident}); \
    static int ident(halctl::Context &ctx)

#endif  // NASHAL_HALCTL_H
