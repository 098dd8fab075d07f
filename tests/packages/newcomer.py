# SPDX-License-Identifier: MIT
"""What a newcomer does, by keyboard, on a display without a screen. newcomer.sh makes the system
for it and starts it there; the pictures go into the folder that is its argument."""
import os
import pathlib
import re
import struct
import subprocess
import sys
import time
import zlib

LIMIT = 900  # seconds that anything may take on a busy machine
PICTURES = pathlib.Path(sys.argv[1])
DISPLAY = ":91"
HOME = pathlib.Path.home()
TYPED = HOME / ".cache/typed"


def eventually(condition, what):
    end = time.monotonic() + LIMIT
    while time.monotonic() < end:
        if result := condition():
            return result
        time.sleep(0.1)
    raise SystemExit(f"newcomer: {what}; the last picture is last.png")


class Screen:
    """Xvfb keeps what it shows in a file, in the format of xwd."""

    def __init__(self):
        self.folder = HOME / ".cache/screen"
        self.folder.mkdir(parents=True)
        self.server = subprocess.Popen(
            ["Xvfb", DISPLAY, "-screen", "0", "1280x900x24", "-nolisten", "tcp", "-fbdir",
             self.folder], stderr=subprocess.DEVNULL)
        os.environ["DISPLAY"] = DISPLAY
        eventually(lambda: self.run("xdotool", "getdisplaygeometry").returncode == 0, "no display")

    def run(self, *command):
        return subprocess.run(command, text=True, capture_output=True)

    def pixels(self):
        data = (self.folder / "Xvfb_screen0").read_bytes()
        header = struct.unpack(">25I", data[:100])
        width, height, stride, colours = header[4], header[5], header[12], header[19]
        start = header[0] + colours * 12
        return width, height, [data[start + y * stride:start + y * stride + width * 4]
                               for y in range(height)]

    def save(self, name, window=None):
        """Once it looks the same for a second; a window with its frame, or the whole screen."""
        before, since = None, time.monotonic()
        end = time.monotonic() + 30
        while time.monotonic() < end and time.monotonic() - since < 1:
            width, height, rows = self.pixels()
            if rows != before:
                before, since = rows, time.monotonic()
            time.sleep(0.1)
        left, top, right, bottom = self.frame(window) if window else (0, 0, width, height)
        lines = bytearray()
        for row in rows[top:bottom]:
            part = row[left * 4:right * 4]
            line = bytearray(3 * (right - left))
            line[0::3], line[1::3], line[2::3] = part[2::4], part[1::4], part[0::4]
            lines += b"\0" + line
        def chunk(kind, content):
            return (struct.pack(">I", len(content)) + kind + content
                    + struct.pack(">I", zlib.crc32(kind + content)))
        size = struct.pack(">IIBBBBB", right - left, bottom - top, 8, 2, 0, 0, 0)
        (PICTURES / f"{name}.png").write_bytes(
            b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", size)
            + chunk(b"IDAT", zlib.compress(bytes(lines), 9)) + chunk(b"IEND", b""))

    def frame(self, window):
        """Its place on the screen, with its title bar."""
        told = dict(re.findall(r"^ *([^:\n]+): +(\d+)$", self.run(
            "xwininfo", "-frame", "-id", window).stdout, re.MULTILINE))
        x, y, width, height = (int(told[k]) for k in (
            "Absolute upper-left X", "Absolute upper-left Y", "Width", "Height"))
        return max(0, x), max(0, y), min(1280, x + width), min(900, y + height)

    def window(self, name, what):
        found = eventually(lambda: self.run(
            "xdotool", "search", "--onlyvisible", "--name", name).stdout.split(), what)
        self.run("xdotool", "windowactivate", "--sync", found[-1])
        return found[-1]

    def key(self, *keys):
        for key in keys:
            self.run("xdotool", "key", "--clearmodifiers", key)
            time.sleep(0.4)

    def click(self, x, y):
        self.run("xdotool", "mousemove", str(x), str(y), "click", "1")
        time.sleep(1)

    def type(self, text):
        self.run("xdotool", "type", "--clearmodifiers", "--delay", "15", text)
        time.sleep(0.3)


class Terminal:
    def __init__(self, screen):
        self.screen = screen
        TYPED.parent.mkdir(parents=True, exist_ok=True)
        subprocess.Popen(
            ["xterm", "-fa", "DejaVu Sans Mono", "-fs", "11", "-geometry", "104x26+20+20", "-T",
             "Terminal", "-e", "script", "--quiet", "--flush", "--command", "bash", TYPED])
        self.window = screen.window("^Terminal$", "no terminal")
        self.seen = 0
        self.expect(None)

    def expect(self, text):
        """Waits for a text behind the last one that was waited for, or for the prompt."""
        def found():
            if text is None:
                return len(self.text()) > self.seen and self.text().endswith("$ ")
            place = self.text().find(text, self.seen)
            self.seen = place + len(text) if place >= 0 else self.seen
            return place >= 0
        eventually(found, f"the terminal does not show {text or 'its prompt'}")

    def text(self):
        return TYPED.read_text(errors="replace") if TYPED.exists() else ""

    def enter(self, line, then=None):
        self.screen.run("xdotool", "windowactivate", "--sync", self.window)
        self.seen = len(self.text())
        self.screen.type(line)
        self.screen.key("Return")
        self.expect(then)

    def picture(self, name):
        self.screen.save(name, self.window)


def has_log(text):
    log = pathlib.Path("/tmp/Quillet.log")
    return log.exists() and text in log.read_text(errors="replace")


def walk(screen):
    subprocess.Popen(["openbox"])
    terminal = Terminal(screen)
    terminal.enter("cd packages && ls")
    terminal.enter("sudo apt -y install ./*.deb")
    terminal.picture("newcomer-1-install")

    terminal.enter("cd && clear")
    terminal.enter("mkdir -p -m 700 ~/.pki/nssdb")
    terminal.enter("certutil -N -d sql:$HOME/.pki/nssdb", "Enter new password:")
    terminal.enter("my password", "Re-enter password:")
    terminal.enter("my password")
    terminal.enter("pk12util -i identity.p12 -d sql:$HOME/.pki/nssdb", "Enter Password or Pin")
    terminal.enter("my password", "Enter password for PKCS12 file:")
    terminal.enter("from-the-issuer", "PKCS12 IMPORT SUCCESSFUL")
    terminal.picture("newcomer-2-certificate")

    terminal.enter("clear")
    terminal.enter("quillet-devserver trust", "[y/N]")
    terminal.enter("y", "Enter Password or Pin")  # of the database, which is about to change
    terminal.enter("my password", "Done.")
    terminal.picture("newcomer-3-trust")

    terminal.enter("clear")
    terminal.enter("quillet-devserver --open", "page ")
    page = screen.window("Quillet signing server", "no page")
    time.sleep(3)
    screen.save("newcomer-4-page", page)

    screen.key("Tab", "Return")  # "Open signing agent", the first that can be pressed
    time.sleep(15)  # the question comes when Chromium has found out whose links these are
    screen.save("newcomer-5-question", page)
    screen.click(716, 270)  # "Open Quillet"
    eventually(lambda: has_log("Listing certificates"), "no session")
    screen.window("localhost:8443 - Quillet", "no window of the agent")
    screen.save("newcomer-6-session")
    sign(screen, page)


def sign(screen, page):
    screen.run("xdotool", "windowactivate", "--sync", page)
    screen.click(112, 790)  # "Choose File"
    screen.window("^Open File$", "no dialog for files")
    time.sleep(3)  # keys that come while it opens are lost
    screen.key("ctrl+l")
    screen.type(str(HOME / "contract.pdf"))  # has its folder shown
    time.sleep(2)
    screen.click(230, 109)  # the first file
    screen.click(1075, 824)  # "Open"
    screen.run("xdotool", "windowactivate", "--sync", page)
    screen.key("Tab", "Tab")  # past "Send a PDF to the agent too", to "Sign"
    screen.save("newcomer-7-choice", page)

    screen.key("Return")
    screen.window("^Quillet$", "no question for the password")
    screen.save("newcomer-8-password")
    screen.type("my password")
    screen.key("Return")
    eventually(lambda: has_log("Sending message: SIGN_PDF_RESPONSE"), "no signature")
    screen.run("xdotool", "windowactivate", "--sync", page)
    screen.key("End")  # of the page, where the signed file is
    screen.save("newcomer-9-signed", page)


if __name__ == "__main__":
    display = Screen()
    try:
        walk(display)
    except BaseException:
        display.save("last")
        raise
    finally:
        display.server.terminate()
