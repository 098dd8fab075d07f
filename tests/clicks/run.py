#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Clicks on a link as users do, many times: in real browsers on the signing server's page, and
through the programs that desktops open links with. Each click must end in a connected session, with
one agent, whose window is in front. Slow, so no part of the test run.

    run.py [--rounds N] [--manager openbox|xfwm4] [--build FOLDER] [TEXT...]

Only what holds one of the TEXTs is tried ("chromium", "cold", "exo-open"). What is not installed is
skipped, which is told. Status 1 if a click failed."""
import argparse
import pathlib
import shutil
import sys
import time

from browsers import Chromium, Firefox
from surroundings import Surroundings, eventually, require

ROOT = pathlib.Path(__file__).resolve().parents[2]

XFCE = {"XDG_CURRENT_DESKTOP": "XFCE", "DESKTOP_SESSION": "xfce"}
GNOME = {"XDG_CURRENT_DESKTOP": "GNOME"}
KDE = {"XDG_CURRENT_DESKTOP": "KDE", "KDE_FULL_SESSION": "true", "KDE_SESSION_VERSION": "5"}

BROWSERS = [
    ("chromium, no desktop", "chromium", Chromium, {}),
    ("chromium, Xfce", "exo-open", Chromium, XFCE),
    ("firefox", "firefox-esr", Firefox, {}),
]
OPENERS = [
    ("xdg-open, no desktop", ["xdg-open"], {}),
    ("xdg-open, GNOME", ["xdg-open"], GNOME),
    ("xdg-open, Xfce", ["xdg-open"], XFCE),
    ("gio", ["gio", "open"], {}),
    ("exo-open", ["exo-open"], XFCE),
    ("kde-open", ["kde-open5"], KDE),
]
BROWSER_SITUATIONS = ["cold", "warm"]
OPENER_SITUATIONS = [
    "cold", "warm", "minimised", "other workspace", "two clicks", "same link again", "ending"]


def require_outcome(desktop):
    """After a session has begun: nothing else has."""
    require(eventually(lambda: len(desktop.agents()) == 1, 10), "more than one agent")
    require(eventually(desktop.is_in_front, 10), "its window is not in front")


def click_in(browser, desktop, situation):
    if situation == "warm":
        desktop.start_waiting_agent()
    browser.open(desktop.page + "/")
    require(browser.wait_for_text("#status", "Waiting for the agent"), "no page")
    browser.click("#link")
    require(browser.wait_for_text("#status", "The agent is connected", 30), "no session")
    require_outcome(desktop)
    browser.click("#end")
    require(eventually(lambda: not desktop.agents()), "the agent does not end")


def click_by(opener, environment, desktop, situation):
    room, link = desktop.open_room()
    command = opener + [link]
    if situation in ("warm", "minimised", "other workspace"):
        desktop.start_waiting_agent()
    if situation == "minimised":
        desktop.run("xdotool", "windowminimize", "--sync", desktop.agent_window())
    if situation == "other workspace":
        desktop.run("xdotool", "set_desktop", "1")
    if situation == "ending":
        before, its_link = desktop.open_room()
        desktop.start([desktop.program, "--link", its_link])
        require(eventually(lambda: desktop.is_connected(before)), "no session before")
        desktop.post(f"/rooms/{before}/end")
    clicks = [desktop.start(command, environment)]
    if situation == "two clicks":
        time.sleep(0.15)
        clicks.append(desktop.start(command, environment))
    require(eventually(lambda: desktop.is_connected(room), 30), "no session")
    if situation == "same link again":
        clicks.append(desktop.start(command, environment))
    if len(clicks) > 1:  # only then may it end: a link that comes later begins another one
        require(eventually(lambda: desktop.has_taken(room, len(clicks)), 30),
                "a click is lost")
        require(eventually(lambda: desktop.is_connected(room), 30), "no session any more")
    require_outcome(desktop)
    desktop.run("xdotool", "set_desktop", "0")
    desktop.post(f"/rooms/{room}/end")
    require(eventually(lambda: not desktop.agents()), "the agent does not end")
    for process in clicks:
        process.wait(30)


def repeat(name, rounds, desktop, click):
    """Tells how many rounds were well, and what was not."""
    problems = []
    for _ in range(rounds):
        try:
            click()
        except Exception as problem:  # whatever it is, it is told
            problems.append(str(problem) or type(problem).__name__)
        desktop.end_agents()
    told = "".join(f"  {text} ({problems.count(text)})" for text in sorted(set(problems)))
    print(f"{name:40} {rounds - len(problems):3} of {rounds}{told}", flush=True)
    return not problems


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--rounds", type=int, default=10)
    parser.add_argument("--manager", default="openbox")
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/release")
    parser.add_argument("texts", nargs="*")
    options = parser.parse_args()

    def wanted(name, program):
        is_wanted = not options.texts or any(text in name for text in options.texts)
        if is_wanted and not shutil.which(program):
            print(f"{name:40} skipped: {program} is not installed", flush=True)
        return is_wanted and shutil.which(program)

    desktop = Surroundings(options.build, options.manager)
    good = True
    try:
        for name, program, kind, environment in BROWSERS:
            names = {s: f"{name}: {s}" for s in BROWSER_SITUATIONS}
            situations = [s for s in names if wanted(names[s], program)]
            browser = kind(desktop, environment) if situations else None
            for situation in situations:
                good &= repeat(names[situation], options.rounds, desktop,
                               lambda: click_in(browser, desktop, situation))
            if browser:
                browser.close()
        for name, command, environment in OPENERS:
            for situation in OPENER_SITUATIONS:
                if wanted(f"{name}: {situation}", command[0]):
                    good &= repeat(f"{name}: {situation}", options.rounds, desktop,
                                   lambda: click_by(command, environment, desktop, situation))
    finally:
        desktop.close()
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
