// The one command builder: texts from devices and files reach a shell only when the shell can't
// read anything into them. Between double quotes (a log line) only $, `, \, " and ! count, so a
// log name like "VEXP#2: Drive3" passes there and nowhere else.
#include <gtest/gtest.h>

#include "foundation/shell_command.h"

using nashal::hal_build_command;
using nashal::in_double_quotes;

namespace {

TEST(ShellCommand, TextsBetweenDoubleQuotesPassUnlessTheShellWouldExpandThem) {
    struct Case {
        const char *text;
        bool quoted_ok, bare_ok;
    } cases[] = {
        {"Host: Drive3", true, true},     {"VEXP#2: Drive3", true, false},
        {"Cache [1] (M.2)", true, false}, {"a $HOME b", false, false},
        {"`reboot`", false, false},       {"x\" ; reboot ; \"", false, false},
        {"back\\slash", false, false},    {"bang!", false, false},
        {"line\nbreak", false, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        char cmd[128];
        int n = hal_build_command("test", cmd, sizeof cmd, "/sbin/log_tool -a \"%s\" -t 1",
                                  in_double_quotes(c.text));
        EXPECT_EQ(n > 0, c.quoted_ok);
        if (c.quoted_ok)
            EXPECT_EQ(std::string(cmd), std::string("/sbin/log_tool -a \"") + c.text + "\" -t 1");
        else
            EXPECT_STREQ(cmd, "");
        EXPECT_EQ(hal_build_command("test", cmd, sizeof cmd, "/sbin/hdparm -t %s", c.text) > 0,
                  c.bare_ok);
    }
    char cmd[16];
    EXPECT_EQ(hal_build_command("test", cmd, sizeof cmd, "%s", in_double_quotes(nullptr)), -1);
}

}  // namespace
