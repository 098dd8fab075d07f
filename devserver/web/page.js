// SPDX-License-Identifier: MIT
"use strict";

// All texts of server and agent reach the page by textContent.

const largestFile = 100 * 1024 * 1024;
const longestOpenMessage = 300; // characters of a message that is not folded

const element = (id) => document.getElementById(id);
const state = { room: "", connected: false, ready: false, busy: false, digest: "", file: null };

function create(tag, text, className) {
  const made = document.createElement(tag);
  if (text !== undefined) made.textContent = text;
  if (className) made.className = className;
  return made;
}

function show(id, visible) {
  element(id).hidden = !visible;
}

function tellProblem(text) {
  element("problem").textContent = text;
  show("damaged", false);
}

function update() {
  const status = element("status");
  const text = state.busy ? state.busy
    : state.ready ? "The agent is connected"
    : state.connected ? "The agent has joined"
    : "Waiting for the agent";
  if (status.textContent !== text) status.textContent = text;
  status.classList.toggle("ready", state.ready);
  show("invitation", !state.connected);
  show("facts", state.ready);
  show("ending", state.connected);
  show("listing", state.ready);
  element("list").disabled = Boolean(state.busy);
  for (const id of ["sign", "repair"]) {
    element(id).disabled = !(state.ready && state.digest && state.file && !state.busy);
  }
}

async function post(path, body) {
  let answer;
  try {
    answer = await fetch(path, { method: "POST", body });
  } catch {
    throw new Error("The server cannot be reached");
  }
  const value = await answer.json().catch(() => ({}));
  if (!answer.ok) throw new Error(value.message || "The server answered with status " + answer.status);
  return value;
}

// Events of the room

function agentEvent({ state: agent, reason, stomp }) {
  state.connected = agent === "joined";
  state.ready = false;
  state.busy = false;
  if (state.connected) {
    element("stomp").textContent = stomp;
    tellProblem("");
  } else {
    state.digest = "";
    element("certificate-list").replaceChildren();
    show("certificates", false);
    show("certificate-help", false);
    show("no-certificates", true);
    element("no-certificates").textContent = "The agent has left" + (reason ? ": " + reason : "") + ".";
  }
  update();
}

function diagnosticsEvent({ os, version }) {
  element("system").textContent = os + " " + version;
}

function certificatesEvent({ certificates }) {
  const list = element("certificate-list");
  list.replaceChildren();
  state.digest = certificates.some((one) => one.digest === state.digest) ? state.digest
    : certificates.length ? certificates[0].digest : "";
  certificates.forEach(({ name, issuer, digest }, index) => {
    const label = create("label", undefined, "certificate");
    const choice = document.createElement("input");
    choice.type = "radio";
    choice.name = "certificate";
    choice.id = "certificate-" + index;
    choice.checked = digest === state.digest;
    choice.addEventListener("change", () => { state.digest = digest; update(); });
    const text = create("span");
    text.append(create("span", name), create("span", "Issued by " + issuer, "quiet"),
      create("span", "Digest " + digest, "quiet"));
    label.append(choice, text);
    list.append(label);
  });
  show("certificates", certificates.length > 0);
  show("no-certificates", certificates.length === 0);
  show("certificate-help", certificates.length === 0);
  element("no-certificates").textContent = "The agent has no certificate to sign with.";
  state.ready = true;
  update();
}

function progressEvent({ text }) {
  state.busy = text;
  update();
}

function problemEvent({ text }) {
  tellProblem(text);
}

function damagedEvent({ name }) {
  show("damaged", Boolean(state.file) && state.file.name === name);
}

function signedEvent({ name, size, number }) {
  tellProblem("");
  const link = create("a", name);
  link.href = "/rooms/" + state.room + "/signed/" + number;
  link.download = name;
  const item = create("li", "Signed: ");
  item.append(link, ", " + size.toLocaleString("en") + " bytes");
  element("signed").append(item);
}

function pretty(text) {
  try {
    return JSON.stringify(JSON.parse(text), null, 2);
  } catch {
    return text;
  }
}

function commandOf(text) {
  try {
    return String(JSON.parse(text).command || "(no command)");
  } catch {
    return "(not JSON)";
  }
}

function messageEvent({ time, direction, size, isWhole, text }) {
  show("no-messages", false);
  const head = create("div", undefined, "message-head");
  head.append(create("span", direction === "sent" ? "to agent" : "from agent", "quiet"),
    create("strong", commandOf(text)),
    create("span", new Date(time).toISOString().slice(11, 23) + " UTC", "quiet"),
    create("span", size.toLocaleString("en") + " bytes" + (isWhole ? "" : ", long values cut"), "quiet"));
  const item = create("li");
  const body = create("pre", text.length > longestOpenMessage ? pretty(text) : text);
  if (text.length > longestOpenMessage) {
    const fold = create("details");
    body.tabIndex = 0; // it scrolls
    fold.append(create("summary", "Show the message"), body);
    item.append(head, fold);
  } else {
    item.append(head, body);
  }
  element("messages").append(item);
}

// Opening a room, or coming back to one after a reload

function listen() {
  const events = new EventSource("/rooms/" + state.room + "/events");
  const handlers = { agent: agentEvent, diagnostics: diagnosticsEvent, certificates: certificatesEvent,
    progress: progressEvent, problem: problemEvent, damaged: damagedEvent, signed: signedEvent, message: messageEvent };
  for (const [name, handler] of Object.entries(handlers)) {
    events.addEventListener(name, (event) => handler(JSON.parse(event.data)));
  }
  events.addEventListener("error", () => {
    if (events.readyState !== EventSource.CLOSED) return; // the browser tries again
    state.ready = state.connected = false;
    update();
    element("status").textContent = "The server has forgotten this room; reload the page";
  });
}

async function start() {
  try {
    const kept = JSON.parse(sessionStorage.getItem("room") || "null");
    const isKept = kept && (await fetch("/rooms/" + kept.room)).ok;
    const room = isKept ? kept : await post("/rooms");
    sessionStorage.setItem("room", JSON.stringify(room));
    state.room = room.room;
    element("code").textContent = room.code;
    element("link").href = room.link;
    element("command").textContent = room.command;
    element("trust").textContent = room.trust;
    update();
    listen();
  } catch (error) {
    element("status").textContent = error.message;
  }
}

// What the user does

async function order(path, body) {
  tellProblem("");
  try {
    await post("/rooms/" + state.room + path, body);
  } catch (error) {
    state.busy = false;
    tellProblem(error.message);
    update();
  }
}

function choose(file) {
  state.file = null;
  if (!file) element("file").value = "";
  tellProblem("");
  if (file && file.size > largestFile) {
    tellProblem(file.name + " cannot be signed: the file is larger than 100 MiB");
  } else if (file) {
    state.file = file;
  }
  update();
}

function sign(isRepaired) {
  state.busy = "Sending " + state.file.name;
  update();
  order("/sign?certificate=" + encodeURIComponent(state.digest) + "&name="
    + encodeURIComponent(state.file.name) + (element("send").checked ? "&send=yes" : "")
    + (isRepaired ? "&repair=yes" : ""), state.file);
}

async function copy() {
  const command = element("command");
  try {
    await navigator.clipboard.writeText(command.textContent);
    element("copy").textContent = "Copied";
  } catch {
    window.getSelection().selectAllChildren(command); // to be copied by hand
  }
}

element("sign").addEventListener("click", () => sign(false));
element("repair").addEventListener("click", () => sign(true));
element("leave").addEventListener("click", () => choose(null));
element("copy").addEventListener("click", copy);
element("end").addEventListener("click", () => order("/end"));
element("list").addEventListener("click", () => order("/certificates"));
element("file").addEventListener("change", () => choose(element("file").files[0]));
const drop = element("drop");
for (const name of ["dragenter", "dragover"]) {
  drop.addEventListener(name, (event) => { event.preventDefault(); drop.classList.add("over"); });
}
drop.addEventListener("dragleave", () => drop.classList.remove("over"));
drop.addEventListener("drop", (event) => {
  event.preventDefault();
  drop.classList.remove("over");
  element("file").files = event.dataTransfer.files;
  choose(event.dataTransfer.files[0]);
});
start();
