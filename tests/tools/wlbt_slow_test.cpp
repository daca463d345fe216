// The waiting line of wlbt while the simulated chip switches to its test
// firmware (the library's own delay): on a terminal only, erased at the end.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "support/chores.h"

TEST(WlbtSlow, ShowsTheWaitOnATerminalOnly) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) GTEST_SKIP() << "no pseudo-terminal on this host";
    const std::string terminal = ptsname(master);
    const int held = open(terminal.c_str(), O_RDWR | O_NOCTTY);  // what the tool wrote stays readable
    testsupport::TempDir dir;
    for (const std::string& err : {terminal, dir / "stderr"}) {
        const std::string command = WLBT_BINARY " --sim AT+WIFIRF=0,1,1,0 >" + dir / "out" + " 2>" + err;
        ASSERT_EQ(std::system(command.c_str()), 0);
        EXPECT_EQ(testsupport::ReadFile(dir / "out"), "AT+WIFIRF=0,1,1,0\n  rc 0  \"+WIFIRF:0,OK\"\n");
    }
    EXPECT_EQ(testsupport::ReadFile(dir / "stderr"), "");
    std::string shown;
    char buffer[256];
    for (ssize_t n; (n = read(master, buffer, sizeof buffer)) > 0;) shown.append(buffer, static_cast<size_t>(n));
    const std::string line = "\r  waiting for AT+WIFIRF=0,1,1,0 ... ";
    EXPECT_EQ(shown.substr(0, line.size()), line) << shown;
    EXPECT_EQ(shown.substr(shown.size() - 6), " s\r\033[K") << shown;
    close(held);
    close(master);
}
