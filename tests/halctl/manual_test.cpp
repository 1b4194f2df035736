// The manual page and the bash completion name exactly the commands "halctl help" lists: a
// command added to halctl fails here until both know it, and a removed one until both forget it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "halctl/halctl_runner.h"

namespace {

std::string read(const std::string &path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

std::set<std::string> all(const std::string &text, const std::regex &re) {
    std::set<std::string> found;
    for (std::sregex_iterator i(text.begin(), text.end(), re), end; i != end; ++i)
        found.insert((*i)[1]);
    return found;
}

TEST(HalctlManual, ManualPageAndCompletionListEveryCommandOfHelp) {
    std::string help = halctl_test::run_halctl("help").out;
    std::set<std::string> commands = all(help, std::regex(R"(\n  ([a-z][a-z-]*)(?= |\n))"));
    ASSERT_GE(commands.size(), 10u) << help;

    std::string page = read(NASHAL_HALCTL_DIR "/halctl.1");
    std::string commands_part = page.substr(page.find(".SH COMMANDS"));
    commands_part = commands_part.substr(0, commands_part.find(".SH ", 4));
    // roff writes a hyphen as "\-".
    commands_part = std::regex_replace(commands_part, std::regex(R"(\\-)"), "-");
    EXPECT_EQ(all(commands_part, std::regex(R"(\.TP\n\\fB([a-z-]+)\\fR)")), commands);

    std::string completion = read(NASHAL_HALCTL_DIR "/halctl.bash-completion");
    std::smatch words;
    ASSERT_TRUE(std::regex_search(completion, words, std::regex(R"(commands="([^"]*)\")")));
    std::string list = words[1];
    EXPECT_EQ(all(" " + list, std::regex(R"(\s([a-z-]+))")), commands);
    EXPECT_EQ(system("bash -n " NASHAL_HALCTL_DIR "/halctl.bash-completion"), 0);
}

}  // namespace
