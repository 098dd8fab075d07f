# SPDX-License-Identifier: MIT
"""Chromium and Firefox with a window, driven by what they bring along: WebDriver over HTTP and
Marionette. Both have been told, as their users or administrators would, to trust the server's
authority and to open its links without a question."""
import json
import pathlib
import re
import socket
import tempfile
import urllib.request

from surroundings import LIMIT, eventually, require

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"  # the name that WebDriver gives to elements


class Browser:
    """What both understand, by `call(command, parameters)`."""

    def open(self, address):
        self.call("Navigate", {"url": address})

    def find(self, selector):
        return self.call("FindElement", {"using": "css selector", "value": selector})[ELEMENT]

    def text(self, selector):
        return self.call("GetElementText", {"id": self.find(selector)})

    def click(self, selector):
        self.call("ElementClick", {"id": self.find(selector)})

    def wait_for_text(self, selector, part, limit=LIMIT):
        return bool(eventually(lambda: part in self.text(selector), limit))


class Chromium(Browser):
    def __init__(self, desktop, environment):
        profile = pathlib.Path(tempfile.mkdtemp(dir=desktop.folder))
        (profile / "Default").mkdir()
        (profile / "Default/Preferences").write_text(json.dumps({"protocol_handler": {
            "allowed_origin_protocol_pairs": {desktop.page: {"quillet": True}}}}))
        told = profile / "chromedriver"
        with told.open("w") as output:
            desktop.start(["chromedriver", "--port=0"], environment, stdout=output)
        port = eventually(lambda: re.search(r"on port (\d+)\.", told.read_text()))
        self.address = f"http://localhost:{require(port, 'no chromedriver')[1]}/session"
        arguments = ["--no-sandbox", "--no-first-run", "--disable-gpu", "--disable-sync",
                     "--disable-background-networking", "--disable-component-update",
                     "--disable-dev-shm-usage", f"--user-data-dir={profile}"]
        session = self.request("POST", "", {"capabilities": {"alwaysMatch": {
            "browserName": "chrome", "goog:chromeOptions": {"args": arguments}}}})
        self.address += "/" + session["sessionId"]

    def request(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.address + path, data=data, method=method,
                                         headers={"Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=LIMIT) as answer:
            return json.load(answer)["value"]

    def call(self, command, parameters):
        element = "/element/" + parameters.get("id", "")
        if command == "GetElementText":
            return self.request("GET", element + "/text")
        path = {"Navigate": "/url", "FindElement": "/element", "ElementClick": element + "/click"}
        return self.request("POST", path[command], parameters)

    def close(self):
        self.request("DELETE", "")


class Firefox(Browser):
    def __init__(self, desktop, environment):
        profile = pathlib.Path(tempfile.mkdtemp(dir=desktop.folder))
        settings = {"marionette.port": 0, "browser.shell.checkDefaultBrowser": False, "browser.aboutwelcome.enabled": False,
                    "datareporting.policy.dataSubmissionEnabled": False, "app.update.enabled": False,
                    "toolkit.telemetry.reportingpolicy.firstRun": False}
        (profile / "user.js").write_text("".join(
            f"user_pref({json.dumps(name)}, {json.dumps(value)});\n"
            for name, value in settings.items()))
        (profile / "handlers.json").write_text(json.dumps({
            "defaultHandlersVersion": {}, "mimeTypes": {},
            "schemes": {"quillet": {"action": 4, "ask": False}}}))  # 4: the system's program
        desktop.run("certutil", "-N", "--empty-password", "-d", f"sql:{profile}")
        desktop.trust_authority(f"sql:{profile}")
        self.process = desktop.start(
            ["firefox-esr", "--no-remote", "--marionette", "-remote-allow-system-access", "--profile", profile], environment)
        port = profile / "MarionetteActivePort"
        require(eventually(lambda: port.exists() and port.read_text().strip()), "no Firefox")
        self.stream = socket.create_connection(("127.0.0.1", int(port.read_text())), LIMIT)
        self.number = 0
        self.receive()  # its greeting
        self.call("NewSession", {})
        self.allow_links(desktop.page)

    def allow_links(self, origin):
        """What "Always allow" does in the question that the first link meets."""
        self.send("Marionette:SetContext", {"value": "chrome"})
        self.call("ExecuteScript", {"args": [origin], "script": """
            Services.perms.addFromPrincipal(
                Services.scriptSecurityManager.createContentPrincipalFromOrigin(arguments[0]),
                "open-protocol-handler^quillet", Services.perms.ALLOW_ACTION)"""})
        self.send("Marionette:SetContext", {"value": "content"})

    def receive(self):
        length = b""
        while not length.endswith(b":"):
            length += require(self.stream.recv(1), "Firefox is gone")
        message = b""
        while len(message) < int(length[:-1]):
            message += require(self.stream.recv(65536), "Firefox is gone")
        return json.loads(message)

    def call(self, command, parameters):
        return self.send("WebDriver:" + command, parameters)

    def send(self, command, parameters):
        self.number += 1
        message = json.dumps([0, self.number, command, parameters]).encode()
        self.stream.sendall(b"%d:%s" % (len(message), message))
        _, _, error, result = self.receive()
        if error:
            raise RuntimeError(f"{command}: {error['message']}")
        return result["value"] if set(result or {}) == {"value"} else result

    def close(self):
        self.process.terminate()
        self.process.wait(LIMIT)
