// SPDX-License-Identifier: MIT
// A signing server to start from: a page with a link, the agent's update check, rooms, and one XML
// document that the user signs with the first certificate of the agent's list.
//   node server.js --cert FILE --key FILE [--port 8444] [--out FOLDER]
// The signed file is written to FOLDER/ROOM.xml. docs/protocol.md has the rules that are kept here.
"use strict";

const crypto = require("crypto");
const fs = require("fs");
const https = require("https");
const path = require("path");
const { WebSocketServer } = require("ws");

const option = (name, otherwise) => {
  const at = process.argv.indexOf("--" + name);
  return at > 0 ? process.argv[at + 1] : otherwise;
};
const out = option("out", ".");
const rooms = new Map(); // name -> the agent's socket, or null while nobody is in
const largestMessage = 64 * 1024 * 1024;

// STOMP 1.2: one frame is one WebSocket message; line breaks between frames are heart-beats.

const escapes = { "\\": "\\\\", "\r": "\\r", "\n": "\\n", ":": "\\c" };
const meanings = { "\\\\": "\\", "\\r": "\r", "\\n": "\n", "\\c": ":" };
const escaped = (text) => text.replace(/[\\\r\n:]/g, (c) => escapes[c]);
const unescaped = (text) => text.replace(/\\[\\rnc]/g, (c) => meanings[c]);

function frame(command, headers, body = "") {
  const length = Buffer.byteLength(body); // bytes, not characters
  const lines = Object.entries({ ...headers, ...(length && { "content-length": String(length) }) })
    .map(([name, value]) => escaped(name) + ":" + escaped(value));
  return [command, ...lines, "", body + "\0"].join("\n");
}

function parsed(text) {
  const end = text.search(/\r?\n\r?\n/);
  if (end < 0) return null;
  const [command, ...lines] = text.slice(0, end).split(/\r?\n/);
  const headers = {};
  for (const line of lines) {
    const colon = line.indexOf(":");
    const name = unescaped(line.slice(0, colon));
    if (!(name in headers)) headers[name] = unescaped(line.slice(colon + 1)); // the first counts
  }
  const body = text.slice(end).replace(/^\r?\n\r?\n/, "");
  return { command, headers, body: body.slice(0, body.lastIndexOf("\0")) };
}

// What is signed: a document in canonical form already, so that its text can be hashed as it is.

const order = (room) => `<order xmlns="urn:example:order" id="${room}"><item>Quill</item></order>`;
const ds = ' xmlns:ds="http://www.w3.org/2000/09/xmldsig#"';
const algorithm = (name, uri) => `<ds:${name} Algorithm="${uri}"></ds:${name}>`;

function signedInfo(document) {
  const exclusive = "http://www.w3.org/2001/10/xml-exc-c14n#";
  return `<ds:SignedInfo${ds}>` + algorithm("CanonicalizationMethod", exclusive)
    + algorithm("SignatureMethod", "http://www.w3.org/2001/04/xmldsig-more#rsa-sha256")
    + '<ds:Reference URI=""><ds:Transforms>'
    + algorithm("Transform", "http://www.w3.org/2000/09/xmldsig#enveloped-signature")
    + algorithm("Transform", exclusive) + "</ds:Transforms>"
    + algorithm("DigestMethod", "http://www.w3.org/2001/04/xmlenc#sha256")
    + "<ds:DigestValue>" + crypto.createHash("sha256").update(document).digest("base64")
    + "</ds:DigestValue></ds:Reference></ds:SignedInfo>";
}

function signedDocument(document, info, answer) {
  const certificate = new crypto.X509Certificate(Buffer.from(answer.certificate, "base64"));
  const isValid = crypto.verify(
    "sha256", Buffer.from(info), certificate.publicKey, Buffer.from(answer.signature, "base64"));
  if (!isValid) throw new Error("the signature is not one of what was sent");
  const signature = `<ds:Signature${ds}>` + info.replace(ds, "")
    + `<ds:SignatureValue>${answer.signature}</ds:SignatureValue><ds:KeyInfo><ds:X509Data>`
    + `<ds:X509Certificate>${answer.certificate}</ds:X509Certificate>`
    + "</ds:X509Data></ds:KeyInfo></ds:Signature>";
  return document.replace("</order>", () => signature + "</order>");
}

// A session: each command is answered before the next is sent. No time limit stands here, for a
// user who types a PIN may take minutes; a real server would have one for the whole session.

async function session(room, ask, tell) {
  await ask("SERVER_CONNECT");
  const list = (await ask("LIST_CERTIFICATES")).payload;
  const certificates = JSON.parse(Buffer.from(list, "base64").toString());
  if (certificates.length === 0) throw new Error("the agent has no certificate");
  const info = signedInfo(order(room));
  const requestId = crypto.randomUUID();
  const answer = await ask("SIGN_XML", requestId, {
    certificateDigest: certificates[0].certificateDigest,
    xmlSignedInfo: info,
    signatureAlgorithm: "SHA256withRSA",
  });
  if (answer.requestId !== requestId) throw new Error("the answer is to another request");
  const digest = crypto.createHash("sha1").update(Buffer.from(answer.payload.certificate, "base64"));
  if (digest.digest("base64") !== certificates[0].certificateDigest) {
    throw new Error("the answer is of another certificate");
  }
  const file = path.join(out, room + ".xml");
  fs.writeFileSync(file + ".new", signedDocument(order(room), info, answer.payload));
  fs.renameSync(file + ".new", file);
  console.log("signed " + file);
  tell("TERMINATE_CLIENT");
}

function serveAgent(socket, room) {
  let waiting = null; // who waits for the next answer
  let subscription = null;
  let count = 0;
  const tell = (command, requestId, payload) => socket.send(frame("MESSAGE", {
    subscription, "message-id": String(++count), destination: "/topic/room/" + room,
    "content-type": "application/json",
  }, JSON.stringify({ command, payload, requestId })));
  const ask = (...message) => new Promise((resolve, reject) => {
    waiting = { resolve, reject };
    tell(...message);
  });
  const fail = (message) => {
    socket.send(frame("ERROR", { message }, message)); // which the agent shows to its user
    socket.close();
  };
  const handle = ({ command, headers, body }) => {
    if (command === "CONNECT" || command === "STOMP") {
      socket.send(frame("CONNECTED", { version: "1.2", "heart-beat": "0,0" }));
    } else if (command === "SUBSCRIBE" && headers.destination === "/topic/room/" + room) {
      if (!rooms.has(room)) return fail("Unknown room");
      if (rooms.get(room)) return fail("Room is taken");
      rooms.set(room, socket);
      subscription = headers.id;
      session(room, ask, tell).catch((error) => {
        console.error("room " + room + ": " + error.message);
        socket.close();
      });
    } else if (command === "SEND" && waiting && rooms.get(room) === socket) {
      waiting.resolve(JSON.parse(body));
    }
  };
  socket.on("message", (data) => {
    const text = data.toString().replace(/^[\r\n]+/, "");
    try {
      const received = text && parsed(text);
      if (received) handle(received);
    } catch (error) {
      fail(error.message);
    }
  });
  socket.on("error", () => {}); // its close follows
  socket.on("close", () => {
    if (waiting) waiting.reject(new Error("the agent has left"));
    if (rooms.get(room) === socket) rooms.delete(room); // a room is good for one session
  });
}

const server = https.createServer(
  { cert: fs.readFileSync(option("cert")), key: fs.readFileSync(option("key")) },
  (request, response) => {
    const target = new URL(request.url, "https://localhost");
    const json = (value) => response.setHeader("Content-Type", "application/json").end(JSON.stringify(value));
    if (target.pathname === "/update/version") return json({ value: "1.0.0" });
    if (target.pathname === "/update/bundle") return json({ value: "https://example.org/quillet" });
    if (target.pathname !== "/") return response.writeHead(404).end();
    const room = crypto.randomBytes(16).toString("hex"); // whoever knows it can join
    rooms.set(room, null);
    const host = request.headers.host.replace(/[^\w.:[\]-]/g, "");
    const link = `quillet://${host}?roomId=${room}`;
    response.setHeader("Content-Type", "text/html; charset=utf-8");
    response.end(`<!doctype html><title>Sign an order</title><a href="${link}">Sign with Quillet</a>\n`);
  });

const sockets = new WebSocketServer({
  server, maxPayload: largestMessage, handleProtocols: (offered) => [...offered][0] ?? false,
});
sockets.on("connection", (socket, request) => {
  const match = /^\/room\/([^/?]+)$/.exec(request.url);
  serveAgent(socket, match ? decodeURIComponent(match[1]) : "");
});
server.listen(Number(option("port", "8444")), "localhost", () => {
  console.log("page https://localhost:" + server.address().port + "/");
});
