// Every --json answer documented in docs/halctl-json.md is checked against the document: the
// test reads the document, runs each command's example on an example appliance and compares
// fields and types, so a script written from the document keeps working, and a command is
// checked from the day it is documented.
#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "halctl/halctl_runner.h"

namespace {

// Just enough JSON for halctl's answers: objects, arrays, strings, numbers.
struct Value {
    std::string type;  // "object", "array", "string", "number", "bool", "null"
    std::vector<std::pair<std::string, Value>> members;
    std::vector<Value> elements;
    std::string text;
};

class Parser {
  public:
    explicit Parser(const std::string &s) : s_(s) {}
    bool parse(Value &v) {
        if (!value(v))
            return false;
        blanks();
        return i_ == s_.size();
    }

  private:
    void blanks() {
        while (i_ < s_.size() && isspace(static_cast<unsigned char>(s_[i_])))
            ++i_;
    }
    bool eat(char c) {
        blanks();
        if (i_ < s_.size() && s_[i_] == c) {
            ++i_;
            return true;
        }
        return false;
    }
    bool string(std::string &out) {
        if (!eat('"'))
            return false;
        for (; i_ < s_.size() && s_[i_] != '"'; ++i_) {
            if (s_[i_] == '\\' && ++i_ < s_.size() && s_[i_] == 'u')
                i_ += 4;
            out += s_[i_];
        }
        return i_++ < s_.size();
    }
    bool value(Value &v) {
        blanks();
        if (i_ >= s_.size())
            return false;
        char c = s_[i_];
        if (c == '{') {
            v.type = "object";
            ++i_;
            if (eat('}'))
                return true;
            do {
                std::pair<std::string, Value> m;
                if (!string(m.first) || !eat(':') || !value(m.second))
                    return false;
                v.members.push_back(std::move(m));
            } while (eat(','));
            return eat('}');
        }
        if (c == '[') {
            v.type = "array";
            ++i_;
            if (eat(']'))
                return true;
            do {
                v.elements.emplace_back();
                if (!value(v.elements.back()))
                    return false;
            } while (eat(','));
            return eat(']');
        }
        if (c == '"') {
            v.type = "string";
            return string(v.text);
        }
        size_t start = i_;
        while (i_ < s_.size() && (isalnum(static_cast<unsigned char>(s_[i_])) || s_[i_] == '-' ||
                                  s_[i_] == '.' || s_[i_] == '+'))
            ++i_;
        v.text = s_.substr(start, i_ - start);
        v.type = v.text == "true" || v.text == "false" ? "bool"
                 : v.text == "null"                    ? "null"
                                                       : "number";
        return i_ > start;
    }

    const std::string &s_;
    size_t i_ = 0;
};

struct FieldRule {
    std::string path;  // "items[].enc_id"; a trailing "*" matches any rest
    std::string type;
    bool optional;
    bool nullable;  // "or null": a value that could not be read
};

struct Documented {
    std::string command;
    std::string example;  // the arguments behind "halctl"
    std::string board;    // the example appliance it runs on
    std::string setup;    // run before the example instead of a scan (a board too slow to scan)
    std::vector<FieldRule> fields;
};

std::vector<Documented> read_document() {
    std::ifstream in(NASHAL_DOCS_DIR "/halctl-json.md");
    std::vector<Documented> docs;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("## `", 0) == 0) {
            docs.push_back({line.substr(4, line.rfind('`') - 4), "", "x86-8bay", "", {}});
        } else if (!docs.empty() && line.rfind("Board: `", 0) == 0) {
            docs.back().board = line.substr(8, line.rfind('`') - 8);
        } else if (!docs.empty() && line.rfind("Setup: `halctl ", 0) == 0) {
            docs.back().setup = line.substr(15, line.rfind('`') - 15);
        } else if (!docs.empty() && line.rfind("Example: `halctl ", 0) == 0) {
            docs.back().example = line.substr(17, line.rfind('`') - 17);
        } else if (!docs.empty() && line.rfind("| `", 0) == 0) {
            size_t end = line.find('`', 3);
            std::string type = line.substr(line.find('|', end) + 2);
            type = type.substr(0, type.find(' '));
            docs.back().fields.push_back({line.substr(3, end - 3), type,
                                          line.find("(optional)") != std::string::npos,
                                          line.find("or null") != std::string::npos});
        }
    }
    return docs;
}

bool covers(const FieldRule &rule, const std::string &path) {
    if (!rule.path.empty() && rule.path.back() == '*')
        return path.rfind(rule.path.substr(0, rule.path.size() - 1), 0) == 0;
    return rule.path == path;
}

// Every member of the answer, with its path: "enc_id", "items", "items[].enc_id".
void members(const Value &v, const std::string &prefix,
             std::vector<std::pair<std::string, const Value *>> &out) {
    for (const auto &m : v.members) {
        out.push_back({prefix + m.first, &m.second});
        if (m.second.type == "array")
            for (const Value &e : m.second.elements)
                members(e, prefix + m.first + "[].", out);
    }
}

// The other way round: a command added to halctl without its answer documented fails here.
TEST(HalctlJson, EveryCommandIsDocumented) {
    std::vector<Documented> docs = read_document();
    std::istringstream help(halctl_test::run_halctl("help").out);
    int commands = 0;
    for (std::string line; std::getline(help, line);) {
        if (line.size() < 3 || line.compare(0, 2, "  ") != 0 || !islower(line[2]))
            continue;
        const std::string name = line.substr(2, line.find(' ', 2) - 2);
        ++commands;
        bool documented = false;
        for (const Documented &d : docs)
            documented = documented || d.command.substr(0, d.command.find(' ')) == name;
        EXPECT_TRUE(documented) << name << " has no section in docs/halctl-json.md";
    }
    EXPECT_GE(commands, 40);
}

TEST(HalctlJson, EveryDocumentedAnswerHasItsFieldsAndTypes) {
    std::vector<Documented> docs = read_document();
    ASSERT_GE(docs.size(), 10u) << "docs/halctl-json.md not read";
    // Each example appliance once, scanned, the first time an example names it.
    std::map<std::string, std::unique_ptr<halctl_test::Board>> boards;
    std::string help = halctl_test::run_halctl("help").out;
    for (const Documented &d : docs) {
        SCOPED_TRACE(d.command + ": halctl " + d.example);
        std::string name = d.command.substr(0, d.command.find(' '));
        EXPECT_NE(help.find("\n  " + name + " "), std::string::npos)
            << "documented, but halctl has no such command";
        ASSERT_FALSE(d.example.empty()) << "no example to run";
        std::string args = d.example;
        args.replace(0, args.find("--json"), "");
        std::unique_ptr<halctl_test::Board> &board = boards[d.board];
        if (!board) {
            board = std::make_unique<halctl_test::Board>(d.board);
            if (d.setup.empty()) {
                ASSERT_EQ(board->run("scan").status, 0) << d.board;
            }
        }
        if (!d.setup.empty()) {
            ASSERT_EQ(board->run(d.setup).status, 0) << d.setup;
        }
        halctl_test::Result r = board->run(args);
        Value answer;
        ASSERT_TRUE(Parser(r.out).parse(answer) && answer.type == "object") << r.out;
        ASSERT_FALSE(answer.members.empty());
        EXPECT_EQ(answer.members[0].first, "schema");
        EXPECT_EQ(answer.members[0].second.text, "nashal.halctl/1");

        std::vector<std::pair<std::string, const Value *>> seen;
        members(answer, "", seen);
        for (const auto &[path, value] : seen) {
            const FieldRule *rule = nullptr;
            for (const FieldRule &f : d.fields)
                if (covers(f, path))
                    rule = &f;
            if (!rule) {
                ADD_FAILURE() << "field \"" << path << "\" is not documented\n" << r.out;
                continue;
            }
            if (!(rule->nullable && value->type == "null")) {
                EXPECT_EQ(value->type, rule->type) << "field \"" << path << "\"\n" << r.out;
            }
        }
        for (const FieldRule &f : d.fields) {
            if (f.optional || f.path.find("[]") != std::string::npos)
                continue;
            bool found = false;
            for (const auto &s : seen)
                found = found || covers(f, s.first);
            EXPECT_TRUE(found) << "documented field \"" << f.path << "\" missing\n" << r.out;
        }
        // A list's item fields are checked on the items there are: an example that lists
        // nothing would check none of them.
        for (const auto &[path, value] : seen) {
            bool has_item_rules = false;
            for (const FieldRule &f : d.fields)
                has_item_rules = has_item_rules || f.path.rfind(path + "[].", 0) == 0;
            EXPECT_FALSE(has_item_rules && value->elements.empty())
                << path << " is empty: the example checks none of its item fields";
        }
    }
}

}  // namespace
