// vistrel_host_list_monitors on X11, against an Xvfb of the test's own (so that the monitors it
// adds with xrandr reach no other test): the X server's own screen size, monitors added and
// removed, the window manager's work area, and a display that cannot be reached.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "vistrel_host.h"

namespace {

using ::testing::ElementsAre;

// An Xvfb that picks a free display number itself (-displayfd) and never resets, so that the
// monitors set by one xrandr call are still there for the next.
class OwnXvfb {
public:
    OwnXvfb() {
        int fds[2];
        if (pipe(fds) != 0)
            return;
        _pid = fork();
        if (_pid == 0) {
            close(fds[0]);
            const std::string fd = std::to_string(fds[1]);
            execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1600x900x24", "-nolisten",
                   "tcp", "-noreset", static_cast<char*>(nullptr));
            _exit(127);
        }
        close(fds[1]);
        // It writes the number and a line end once it accepts connections.
        std::string number;
        char ch = 0;
        while (read(fds[0], &ch, 1) == 1 && ch != '\n')
            number += ch;
        close(fds[0]);
        if (ch == '\n' && !number.empty())
            _display = ":" + number;
    }
    ~OwnXvfb() {
        if (_pid > 0) {
            kill(_pid, SIGTERM);
            waitpid(_pid, nullptr, 0);
        }
    }
    const std::string& display() const { return _display; }

private:
    pid_t _pid = -1;
    std::string _display;
};

// DISPLAY for one test, and the previous one back afterwards.
class DisplayVariable {
public:
    explicit DisplayVariable(const std::string& display) {
        if (const char* old = std::getenv("DISPLAY"))
            _old = old, _had = true;
        setenv("DISPLAY", display.c_str(), 1);
    }
    ~DisplayVariable() {
        if (_had)
            setenv("DISPLAY", _old.c_str(), 1);
        else
            unsetenv("DISPLAY");
    }

private:
    std::string _old;
    bool _had = false;
};

struct Listed {
    int32_t result = 0;
    std::vector<VistrelMonitor> monitors;
    VistrelRect virtualScreen{};
};

Listed listMonitors() {
    Listed l;
    uint32_t count = 0;
    l.result = vistrel_host_list_monitors(nullptr, 0, &count, nullptr);
    if (l.result != VISTREL_OK)
        return l;
    l.monitors.resize(count);
    l.result = vistrel_host_list_monitors(l.monitors.data(), count, &count, &l.virtualScreen);
    l.monitors.resize(count);
    return l;
}

std::string name(const VistrelMonitor& m) {
    std::string s;
    for (const wchar_t* c = m.deviceName; *c != L'\0'; ++c)
        s += static_cast<char>(*c);
    return s;
}

// "name left,top,right,bottom (work left,top,right,bottom)[ primary]" for readable failures.
std::string describe(const VistrelMonitor& m) {
    auto rect = [](const VistrelRect& r) {
        return std::to_string(r.left) + "," + std::to_string(r.top) + "," + std::to_string(r.right) + "," +
               std::to_string(r.bottom);
    };
    return name(m) + " " + rect(m.bounds) + " (work " + rect(m.workArea) + ")" +
           (m.primary ? " primary" : "");
}

std::vector<std::string> describeAll(const Listed& l) {
    std::vector<std::string> all;
    for (const VistrelMonitor& m : l.monitors)
        all.push_back(describe(m));
    return all;
}

int run(const std::string& display, const std::string& command) {
    return std::system(("DISPLAY=" + display + " " + command + " >/dev/null 2>&1").c_str());
}

class MonitorListTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_FALSE(xvfb.display().empty()) << "Xvfb did not start"; }
    OwnXvfb xvfb;
};

TEST_F(MonitorListTest, OneScreenIsTheXServersOwnSize) {
    DisplayVariable display(xvfb.display());
    int screenNumber = 0;
    xcb_connection_t* c = xcb_connect(xvfb.display().c_str(), &screenNumber);
    ASSERT_EQ(xcb_connection_has_error(c), 0);
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const int32_t width = screen->width_in_pixels;
    const int32_t height = screen->height_in_pixels;
    xcb_disconnect(c);

    const Listed l = listMonitors();
    ASSERT_EQ(l.result, VISTREL_OK);
    const std::string whole = "screen 0,0," + std::to_string(width) + "," + std::to_string(height);
    EXPECT_THAT(describeAll(l), ElementsAre(whole + " (work 0,0,1600,900) primary"));
    EXPECT_EQ(l.virtualScreen.right, width);
    EXPECT_EQ(l.virtualScreen.bottom, height);
}

TEST_F(MonitorListTest, MonitorsAddedWithRandRComeAfterThePrimaryOneInTheirWorkArea) {
    DisplayVariable display(xvfb.display());
    ASSERT_EQ(run(xvfb.display(), "xrandr --setmonitor left 800/200x900/250+0+0 none"), 0);
    ASSERT_EQ(run(xvfb.display(), "xrandr --setmonitor right 600/150x500/130+1000+400 none"), 0);
    // A panel along the top, as a window manager publishes it for desktop 0 of 1.
    ASSERT_EQ(run(xvfb.display(), "xprop -root -f _NET_WORKAREA 32c -set _NET_WORKAREA '0, 30, 1600, 870'"),
              0);

    // Xvfb marks no output primary: the server's first monitor (the newest) stands in for it.
    Listed l = listMonitors();
    ASSERT_EQ(l.result, VISTREL_OK);
    EXPECT_THAT(describeAll(l), ElementsAre("left 0,0,800,900 (work 0,30,800,900) primary",
                                            "right 1000,400,1600,900 (work 1000,400,1600,900)",
                                            "screen 0,0,1600,900 (work 0,30,1600,900)"));

    ASSERT_EQ(run(xvfb.display(), "xrandr --output screen --primary"), 0);
    l = listMonitors();
    ASSERT_EQ(l.result, VISTREL_OK);
    EXPECT_THAT(describeAll(l), ElementsAre("screen 0,0,1600,900 (work 0,30,1600,900) primary",
                                            "left 0,0,800,900 (work 0,30,800,900)",
                                            "right 1000,400,1600,900 (work 1000,400,1600,900)"));
    EXPECT_EQ(l.virtualScreen.left, 0);
    EXPECT_EQ(l.virtualScreen.top, 0);
    EXPECT_EQ(l.virtualScreen.right, 1600);
    EXPECT_EQ(l.virtualScreen.bottom, 900);

    // Room for one: the primary one, and the count of all.
    VistrelMonitor first{};
    uint32_t count = 0;
    ASSERT_EQ(vistrel_host_list_monitors(&first, 1, &count, nullptr), VISTREL_OK);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(describe(first), "screen 0,0,1600,900 (work 0,30,1600,900) primary");

    ASSERT_EQ(run(xvfb.display(), "xrandr --delmonitor left"), 0);
    ASSERT_EQ(run(xvfb.display(), "xrandr --delmonitor right"), 0);
    l = listMonitors();
    ASSERT_EQ(l.result, VISTREL_OK);
    EXPECT_EQ(l.monitors.size(), 1u);
}

TEST(MonitorListFailures, NoDisplayAndBadArguments) {
    uint32_t count = 0;
    EXPECT_EQ(vistrel_host_list_monitors(nullptr, 1, &count, nullptr), VISTREL_BAD_PARAMETER);
    EXPECT_EQ(vistrel_host_list_monitors(nullptr, 0, nullptr, nullptr), VISTREL_BAD_PARAMETER);
    {
        DisplayVariable display(":9876");  // nothing listens there
        EXPECT_EQ(vistrel_host_list_monitors(nullptr, 0, &count, nullptr), VISTREL_NOT_FOUND);
    }
    {
        DisplayVariable display("");
        EXPECT_EQ(vistrel_host_list_monitors(nullptr, 0, &count, nullptr), VISTREL_NOT_FOUND);
    }
}

}  // namespace
