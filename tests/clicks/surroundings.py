# SPDX-License-Identifier: MIT
"""A desktop and a user of their own: X server, session bus, window manager, home folder, signing
server, and the agent, registered for its links. All of it ends with the script that made it."""
import json
import os
import pathlib
import re
import shutil
import signal
import ssl
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

LIMIT = 60  # seconds that anything may take


def eventually(condition, limit=LIMIT):
    """What the condition gives once it gives something; nothing when the time is over."""
    end = time.monotonic() + limit
    while time.monotonic() < end:
        if result := condition():
            return result
        time.sleep(0.05)
    return None


def require(value, what):
    if not value:
        raise RuntimeError(what)
    return value


class Surroundings:
    def __init__(self, build, window_manager):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="clicks-"))
        self.home = self.folder / "home"
        for folder in (self.home / ".pki/nssdb", self.folder / "run", self.folder / "bin"):
            folder.mkdir(parents=True)
        (self.folder / "run").chmod(0o700)
        # A program path of its own, by which its processes are known.
        self.program = self.folder / "bin/ZqMacClient"
        shutil.copy2(build / "bin/ZqMacClient", self.program)
        for module in build.glob("lib/**/quillet-agent"):
            shutil.copytree(module, self.folder / module.relative_to(build))
        self.environment = {"HOME": str(self.home), "PATH": "/usr/bin:/bin", "LANG": "C.UTF-8",
                            "XDG_RUNTIME_DIR": str(self.folder / "run"),
                            "SSL_CERT_FILE": str(self.folder / "authority/authority.pem")}
        self.processes = []
        try:
            self.start_desktop(window_manager)
            self.start_server(build / "bin/quillet-devserver")
            self.register()
        except BaseException:
            self.close()
            raise

    def close(self):
        for pid in self.agents():
            os.kill(pid, signal.SIGKILL)
        for process in reversed(self.processes):
            process.terminate()
        for process in reversed(self.processes):
            try:
                process.wait(10)
            except subprocess.TimeoutExpired:
                process.kill()
        shutil.rmtree(self.folder, ignore_errors=True)

    def start(self, command, environment=None, **options):
        options = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL,
                   "stderr": subprocess.DEVNULL} | options
        process = subprocess.Popen([str(word) for word in command],
                                   env=self.environment | (environment or {}), **options)
        self.processes.append(process)
        return process

    def run(self, *command):
        return subprocess.run([str(word) for word in command], env=self.environment, text=True,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=LIMIT)

    def first_line(self, command):
        """Starts a program that tells on its output where it can be reached."""
        return require(self.start(command, stdout=subprocess.PIPE, text=True).stdout.readline(),
                       f"{command[0]} does not start").strip()

    def start_desktop(self, window_manager):
        self.environment["DISPLAY"] = ":" + self.first_line(
            ["Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten", "tcp"])
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = self.first_line(
            ["dbus-daemon", "--session", "--nofork", "--print-address=1"])
        self.start([window_manager])
        require(eventually(lambda: self.run("xdotool", "set_num_desktops", "2").returncode == 0
                           and self.run("xdotool", "get_num_desktops").stdout.strip() == "2"),
                "no window manager")

    def start_server(self, program):
        self.server_log = self.folder / "server"
        with self.server_log.open("w") as file:
            self.start([program, "--port", "0", "--authority", self.folder / "authority"],
                       stdout=file)
        found = eventually(lambda: re.search(r"page +(https://\S+)", self.server_log.read_text()))
        self.page = require(found, "no signing server")[1].rstrip("/")
        database = f"sql:{self.home}/.pki/nssdb"
        self.run("certutil", "-N", "--empty-password", "-d", database)
        noise = self.folder / "noise"  # for a key that signs nothing of worth
        noise.write_text("n" * 2048)
        self.run("certutil", "-S", "-x", "-n", "signer", "-s", "CN=Example Signer", "-t", "u,u,u",
                 "-k", "rsa", "-g", "2048", "-z", noise, "-d", database)
        self.trust_authority(database)
        self.trusting = ssl.create_default_context(cafile=self.environment["SSL_CERT_FILE"])

    def trust_authority(self, database):
        made = self.run("certutil", "-A", "-d", database, "-n", "quillet-devserver", "-t", "C,,",
                        "-i", self.environment["SSL_CERT_FILE"])
        require(made.returncode == 0, made.stderr)

    def register(self):
        """`install`, as in a terminal, where its alert ends with the input."""
        environment = self.environment | {"DISPLAY": "", "WAYLAND_DISPLAY": ""}
        subprocess.run([self.program, "install"], env=environment, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, check=False, timeout=LIMIT)
        entry = self.home / ".local/share/applications/com.quillet.ZqMacClient.desktop"
        require(entry.exists(), "the agent does not register itself")

    # The signing server's rooms

    def post(self, path):
        request = urllib.request.Request(self.page + path, data=b"", method="POST")
        try:
            with urllib.request.urlopen(request, context=self.trusting, timeout=LIMIT) as answer:
                return answer.status, json.load(answer)
        except urllib.error.HTTPError as error:
            return error.code, {}

    def open_room(self):
        answer = self.post("/rooms")[1]
        return answer["room"], answer["link"]

    def is_connected(self, room):
        return self.post(f"/rooms/{room}/certificates")[0] == 202

    # The agent

    def agents(self):
        found = []
        for entry in pathlib.Path("/proc").iterdir():
            try:
                words = (entry / "cmdline").read_bytes().split(b"\0")
            except OSError:
                continue
            if entry.name.isdigit() and words[0] == str(self.program).encode():
                found.append(int(entry.name))
        return found

    def start_waiting_agent(self):
        self.start([self.program])
        require(eventually(lambda: len(self.agents()) == 1 and self.is_on_bus()
                           and self.is_in_front()), "no waiting agent")

    def own_log(self, pid):
        """The agent's lines of the log that all agents share, even where others removed it."""
        try:
            with open(f"/proc/{pid}/fd/2", "rb") as log:
                log.seek(max(0, os.fstat(log.fileno()).st_size - 4_000_000))
                lines = log.read().decode(errors="replace").splitlines(True)
        except OSError:  # it has handed its link over, and is gone
            return ""
        return "".join(line for line in lines if f" ZqMacClient[{pid}:" in line)

    def has_taken(self, room, links):
        """Whether the one agent has taken so many links to the room, and the session that the server
        knows of is that of the last one. A link that comes while the one before connects takes
        its place, so there may be fewer sessions than links."""
        log = "".join(self.own_log(pid) for pid in self.agents())
        launches = re.findall(r"Launching with custom URL: .*roomId=" + room, log)
        subscribed = f'Subscribing to messages on room Optional("{room}")'
        joins = self.server_log.read_text().count(f"an agent joined room {room}")
        return (len(launches) == links and subscribed in log[log.rindex(launches[-1]):]
                and joins == log.count(subscribed))

    def is_on_bus(self):
        return "true" in self.run(
            "gdbus", "call", "--session", "--dest", "org.freedesktop.DBus", "--object-path", "/",
            "--method", "org.freedesktop.DBus.NameHasOwner", "com.quillet.ZqMacClient").stdout

    def is_in_front(self):
        """Whether the window that has the keyboard is the agent's."""
        pid = self.run("xdotool", "getactivewindow", "getwindowpid").stdout.strip()
        return pid.isdigit() and int(pid) in self.agents()

    def agent_window(self):
        found = eventually(lambda: self.run(
            "xdotool", "search", "--onlyvisible", "--name", "Quillet$").stdout.split(), 10)
        return require(found, "no window of the agent")[0]

    def end_agents(self):
        """Closes them as their user does; an alert first."""
        for _ in range(10):
            if not self.agents():
                return
            self.run("xdotool", "search", "--name", "Quillet$", "key", "--clearmodifiers", "Escape")
            for pid in self.agents():
                os.kill(pid, signal.SIGTERM)
            if eventually(lambda: not self.agents(), 2):
                return
        for pid in self.agents():
            os.kill(pid, signal.SIGKILL)
