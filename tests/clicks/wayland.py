#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Clicks on a link on Wayland, where only the compositor brings windows to the front: it is given
the token by which the opener vouches for the click. Each click must end in a connected session,
with one agent; and where the compositor knows such tokens (xdg-activation: mutter does, weston 10
does not), the agent must hand it this click's. No part of the test run.

    wayland.py [--rounds N] [--build FOLDER] [mutter] [weston]"""
import argparse
import pathlib
import shutil
import sys
import uuid

from run import ROOT, repeat
from surroundings import Surroundings, eventually, require

COMPOSITORS = {
    "mutter": ["mutter", "--headless", "--wayland", "--no-x11", "--virtual-monitor", "1280x800",
               "--wayland-display", "clicks"],
    "weston": ["weston", "--backend=headless-backend.so", "--socket=clicks", "--idle-time=0"],
}
LOG = pathlib.Path("/tmp/Quillet.log")


class Wayland(Surroundings):
    def start_desktop(self, compositor):
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = self.first_line(
            ["dbus-daemon", "--session", "--nofork", "--print-address=1"])
        self.start(COMPOSITORS[compositor])
        require(eventually((self.folder / "run/clicks").exists), f"no {compositor}")
        # The library of Wayland writes what goes to and fro to standard error.
        self.environment |= {"WAYLAND_DISPLAY": "clicks", "WAYLAND_DEBUG": "client"}
        self.errors = (self.folder / "errors").open("wb")

    def register(self):
        super().register()
        self.log_start = LOG.stat().st_size if LOG.exists() else 0

    def start(self, command, environment=None, **options):
        if self.environment.get("WAYLAND_DEBUG"):
            options = {"stderr": self.errors} | options
        return super().start(command, environment, **options)

    def said(self):
        """What agents said to the compositor: before their log was open, and in it."""
        with LOG.open("rb") as log:
            log.seek(self.log_start)
            return (self.folder / "errors").read_bytes() + log.read()

    def is_in_front(self):
        return True  # only the compositor knows

    def knows_tokens(self):
        return b'"xdg_activation_v1"' in self.said()


def click(desktop, situation):
    token = f"click-{uuid.uuid4().hex}"
    room, link = desktop.open_room()
    if situation == "warm":
        desktop.start_waiting_agent()
    desktop.start(["gio", "open", link], {"XDG_ACTIVATION_TOKEN": token})
    require(eventually(lambda: desktop.is_connected(room), 60), "no session")
    require(eventually(lambda: len(desktop.agents()) == 1, 10), "more than one agent")
    if desktop.knows_tokens():
        require(eventually(lambda: b'.activate("' + token.encode() in desktop.said(), 10),
                "the compositor does not get the token")
    desktop.post(f"/rooms/{room}/end")
    require(eventually(lambda: not desktop.agents()), "the agent does not end")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--rounds", type=int, default=10)
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/release")
    parser.add_argument("compositors", nargs="*", default=list(COMPOSITORS))
    options = parser.parse_args()
    good = True
    for compositor in options.compositors:
        if not shutil.which(compositor):
            print(f"{compositor:40} skipped: it is not installed", flush=True)
            continue
        desktop = Wayland(options.build, compositor)
        try:
            for situation in ("cold", "warm"):
                good &= repeat(f"{compositor}: {situation}", options.rounds, desktop,
                               lambda: click(desktop, situation))
            print(f"{compositor} knows tokens: {desktop.knows_tokens()}")
        finally:
            desktop.close()
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
