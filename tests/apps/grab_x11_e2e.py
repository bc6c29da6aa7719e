#!/usr/bin/python3
"""vistrel-grab on Linux end to end: the real server on an Xvfb display of its own with twm and
real X programs, each capture judged against the X server's own picture (xwd of the root).

  grab_x11_e2e.py --grab build/linux/bin/vistrel-grab [--display N]

Without --display, Xvfb picks a free display number itself (-displayfd).
"""
import argparse
import os
import re
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time

from PIL import Image, ImageChops

WIDTH, HEIGHT = 1024, 768
TWMRC = "RandomPlacement\nNoGrabServer\nBorderWidth 1\n"


class Failure(Exception):
    pass


class Desktop:
    """An Xvfb with twm and the programs started on it; all ended by close()."""

    def __init__(self, display_number, work):
        self.processes = []
        self.work = work
        if display_number is None:
            read_end, write_end = os.pipe()
            self.xvfb = subprocess.Popen(
                ["Xvfb", "-displayfd", str(write_end), "-screen", "0", f"{WIDTH}x{HEIGHT}x24", "-nolisten", "tcp"],
                pass_fds=[write_end], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            os.close(write_end)
            with os.fdopen(read_end) as pipe:
                display_number = pipe.readline().strip()
        else:
            self.xvfb = subprocess.Popen(
                ["Xvfb", f":{display_number}", "-screen", "0", f"{WIDTH}x{HEIGHT}x24", "-nolisten", "tcp"],
                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            deadline = time.monotonic() + 5
            while not os.path.exists(f"/tmp/.X11-unix/X{display_number}") and time.monotonic() < deadline:
                time.sleep(0.05)
        if not display_number or self.xvfb.poll() is not None:
            raise Failure("Xvfb did not start")
        self.env = dict(os.environ, DISPLAY=f":{display_number}")
        rc = os.path.join(work, "twmrc")
        with open(rc, "w") as f:
            f.write(TWMRC)
        self.start(["twm", "-f", rc])
        time.sleep(0.3)

    def start(self, argv):
        self.processes.append(subprocess.Popen(argv, env=self.env, stdout=subprocess.DEVNULL,
                                               stderr=subprocess.DEVNULL))
        return self.processes[-1]

    def run(self, argv, check=True):
        done = subprocess.run(argv, env=self.env, capture_output=True, text=True, timeout=60)
        if check and done.returncode != 0:
            raise Failure(f"{argv[0]} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
        return done

    def window_id(self, title):
        """The id of the viewable client window titled `title` (at most 5 s)."""
        deadline = time.monotonic() + 5
        while time.monotonic() < deadline:
            info = self.run(["xwininfo", "-name", title], check=False).stdout
            match = re.search(r"Window id: (0x[0-9a-f]+)", info)
            if match and "IsViewable" in info:
                return match.group(1)
            time.sleep(0.05)
        raise Failure(f'no window "{title}"')

    def root_picture(self):
        """The X server's own picture of the screen: xwd of the root, as RGB."""
        data = subprocess.run(["xwd", "-root", "-silent"], env=self.env, capture_output=True, check=True,
                              timeout=30).stdout
        fields = struct.unpack(">25I", data[:100])
        header_size, depth, width, height = fields[0], fields[3], fields[4], fields[5]
        byte_order, bits_per_pixel, bytes_per_line = fields[7], fields[11], fields[12]
        masks, ncolors = fields[14:17], fields[19]
        if (depth, bits_per_pixel, byte_order, masks) != (24, 32, 0, (0xFF0000, 0xFF00, 0xFF)):
            raise Failure(f"unexpected xwd layout: {fields}")
        pixels = data[header_size + 12 * ncolors:]
        return Image.frombuffer("RGB", (width, height), pixels, "raw", "BGRX", bytes_per_line, 1)

    def settled_picture(self):
        """A picture of the root once two taken 200 ms apart agree (at most 5 s)."""
        before = self.root_picture()
        deadline = time.monotonic() + 5
        while time.monotonic() < deadline:
            time.sleep(0.2)
            after = self.root_picture()
            if ImageChops.difference(before, after).getbbox() is None:
                return after
            before = after
        raise Failure("the screen did not settle")

    def close(self):
        for p in reversed(self.processes):
            p.send_signal(signal.SIGTERM)
        for p in self.processes:
            try:
                p.wait(5)
            except subprocess.TimeoutExpired:
                p.kill()
        self.xvfb.terminate()
        self.xvfb.wait(5)


def grab(desktop, grab_path, *args):
    done = desktop.run([grab_path, *args], check=False)
    if done.returncode != 0:
        raise Failure(f"vistrel-grab {' '.join(args)} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
    return done.stdout


def same_picture(name, captured_path, expected, work):
    captured = Image.open(captured_path).convert("RGB")
    if captured.size != expected.size:
        raise Failure(f"{name}: {captured.size} captured, {expected.size} on the screen")
    box = ImageChops.difference(captured, expected).getbbox()
    if box is not None:
        kept = os.path.join(tempfile.gettempdir(), "vx-grab-e2e-" + re.sub(r"\W+", "-", name))
        os.makedirs(kept, exist_ok=True)
        shutil.copy(captured_path, os.path.join(kept, "captured.png"))
        expected.save(os.path.join(kept, "expected.png"))
        raise Failure(f"{name}: the capture differs from the X server's picture inside {box} (both in {kept})")
    print(f"{name}: equal to the X server's picture")


def expect_line(name, output, pattern):
    if not re.search(pattern, output, re.MULTILINE):
        raise Failure(f"{name}: no line matching {pattern!r} in:\n{output}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--grab", required=True)
    parser.add_argument("--display")
    options = parser.parse_args()
    grab_path = os.path.abspath(options.grab)
    work = tempfile.mkdtemp(prefix="vx-grab-e2e-")
    desktop = Desktop(options.display, work)
    try:
        desktop.start(["xlogo", "-geometry", "400x300+100+80"])
        desktop.window_id("xlogo")
        # A real program in a window manager's frame, over the other one.
        desktop.start(["xlogo", "-title", "Secret panel", "-fg", "red", "-bg", "navy",
                       "-geometry", "300x250+300+200"])
        panel = desktop.window_id("Secret panel")
        full_screen = f"0,0,{WIDTH},{HEIGHT}"

        output = grab(desktop, grab_path, "--list-monitors")
        expect_line("monitors", output, rf"^monitor 0: \[0,0,{WIDTH},{HEIGHT}\] primary ")
        expect_line("monitors", output, rf"^virtual screen: \[0,0,{WIDTH},{HEIGHT}\]$")

        shown = desktop.settled_picture()
        full = os.path.join(work, "full.png")
        output = grab(desktop, grab_path, "--monitor", "0", "--count", "2", "--out", full)
        expect_line("everything", output, r"^capture 2: \(2000\) ")
        same_picture("everything", full, shown, work)

        by_title = os.path.join(work, "by-title.png")
        output = grab(desktop, grab_path, "--rect", full_screen, "--exclude-title", "Secret panel", "--out", by_title)
        expect_line("by title", output, r'^exclude "Secret panel": 1 window\(s\)$')
        by_id = os.path.join(work, "by-id.png")
        grab(desktop, grab_path, "--rect", full_screen, "--exclude", str(int(panel, 16)), "--out", by_id)
        by_hex = os.path.join(work, "by-hex.png")
        grab(desktop, grab_path, "--rect", "250,150,750,550", "--exclude", panel, "--out", by_hex)

        # _NET_WM_NAME names the window when it has one; WM_NAME only when not.
        desktop.run(["xprop", "-id", panel, "-f", "_NET_WM_NAME", "8u", "-set", "_NET_WM_NAME", "Renamed"])
        output = grab(desktop, grab_path, "--rect", full_screen, "--unit-test", "--exclude-title", "Secret panel",
                      "--exclude-title", "Renamed")
        expect_line("titles", output, r'^exclude "Secret panel": 0 window\(s\)$')
        expect_line("titles", output, r'^exclude "Renamed": 1 window\(s\)$')

        # The judge: the screen once the panel has gone, frame and all.
        desktop.run(["xdotool", "windowunmap", "--sync", panel])
        beneath = desktop.settled_picture()
        if ImageChops.difference(beneath, shown).getbbox() is None:
            raise Failure("unmapping the panel changed nothing on the screen")
        same_picture("left out by title", by_title, beneath, work)
        same_picture("left out by decimal id", by_id, beneath, work)
        same_picture("left out by 0x id, part of the screen", by_hex, beneath.crop((250, 150, 750, 550)), work)
    finally:
        desktop.close()
        shutil.rmtree(work, ignore_errors=True)
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Failure as failure:
        print(f"FAILED: {failure}")
        sys.exit(1)
