// vistrel-grab's monitor list on an Xvfb of the test's own (RandR 1.5 monitors), with work
// areas as a window manager publishes them.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <fcntl.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "X11Monitors.h"
#include "X11Reply.h"
#include "support/ResultText.h"

extern char** environ;

namespace {

// An Xvfb on a display number it picks itself (-displayfd); ended with the object.
class OwnXvfb {
public:
    bool start() {
        int fds[2];
        if (pipe(fds) != 0)
            return false;
        const std::string fd = std::to_string(fds[1]);
        const char* argv[] = {"Xvfb",        "-displayfd", fd.c_str(), "-screen", "0",
                              "1024x768x24", "-nolisten",  "tcp",      nullptr};
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        const int spawned = posix_spawnp(&_pid, "Xvfb", &actions, nullptr, const_cast<char**>(argv), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(fds[1]);
        char number[16] = {};
        const ssize_t n = spawned == 0 ? read(fds[0], number, sizeof(number) - 1) : -1;
        close(fds[0]);
        if (n <= 0)
            return false;
        _display = ":" + std::string(number, static_cast<size_t>(n - (number[n - 1] == '\n' ? 1 : 0)));
        return true;
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

class X11MonitorsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(_xvfb.start());
        _connection = xcb_connect(_xvfb.display().c_str(), nullptr);
        ASSERT_EQ(xcb_connection_has_error(_connection), 0);
        _screen = xcb_setup_roots_iterator(xcb_get_setup(_connection)).data;
    }
    void TearDown() override {
        if (_connection != nullptr)
            xcb_disconnect(_connection);
    }

    xcb_atom_t atom(const char* name) {
        X11Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
            _connection, xcb_intern_atom(_connection, 0, static_cast<uint16_t>(strlen(name)), name),
            nullptr));
        return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    }
    void setCardinals(const char* property, const std::vector<uint32_t>& values) {
        xcb_change_property(_connection, XCB_PROP_MODE_REPLACE, _screen->root, atom(property),
                            XCB_ATOM_CARDINAL, 32, static_cast<uint32_t>(values.size()), values.data());
        free(xcb_get_input_focus_reply(_connection, xcb_get_input_focus(_connection), nullptr));
    }

    OwnXvfb _xvfb;
    xcb_connection_t* _connection = nullptr;
    xcb_screen_t* _screen = nullptr;
};

TEST_F(X11MonitorsTest, TheScreensMonitorIsPrimaryWithTheCurrentDesktopsWorkArea) {
    std::vector<Vistrel::MonitorInfo> monitors;
    VXRect virtualScreen;
    // Xvfb alone: its one monitor, made primary since none is; no work area published.
    VXResult listed = X11Monitors::list(_connection, *_screen, monitors, virtualScreen);
    ASSERT_TRUE(listed.isSuccess()) << text(listed);
    ASSERT_EQ(monitors.size(), 1u);
    EXPECT_EQ(monitors[0].bounds, VXRect(0, 0, 1024, 768));
    EXPECT_EQ(monitors[0].workArea, VXRect(0, 0, 1024, 768));
    EXPECT_TRUE(monitors[0].primary);
    EXPECT_EQ(virtualScreen, VXRect(0, 0, 1024, 768));

    // Two desktops; on the second a panel 30 pixels high along the top and one reaching
    // past the right edge: the work area is the current desktop's, clipped to the monitor.
    setCardinals("_NET_WORKAREA", {0, 0, 1024, 768, 0, 30, 1100, 738});
    setCardinals("_NET_CURRENT_DESKTOP", {1});
    listed = X11Monitors::list(_connection, *_screen, monitors, virtualScreen);
    ASSERT_TRUE(listed.isSuccess()) << text(listed);
    ASSERT_EQ(monitors.size(), 1u);
    EXPECT_EQ(monitors[0].workArea, VXRect(0, 30, 1024, 768));
    setCardinals("_NET_CURRENT_DESKTOP", {0});
    ASSERT_TRUE(X11Monitors::list(_connection, *_screen, monitors, virtualScreen).isSuccess());
    EXPECT_EQ(monitors[0].workArea, VXRect(0, 0, 1024, 768));
}

}  // namespace
