// The page of `kavelin view`: its parts, and what each tells the others.

import {Connection} from "/app/connection.js";
import {closeMenus} from "/app/elements.js";
import {Graph} from "/app/graph.js";
import {startKeys} from "/app/keys.js";
import {Messages} from "/app/messages.js";
import {Model} from "/app/model.js";
import {decode} from "/app/numbers.js";
import {Picture} from "/app/picture.js";
import {Plots} from "/app/plots.js";
import {Properties} from "/app/properties.js";
import {startTheme} from "/app/theme.js";
import {Transport} from "/app/transport.js";
import {Watching} from "/app/watching.js";

const byId = id => document.getElementById(id);

const connection = new Connection(`${location.protocol === "https:" ? "wss" : "ws"}://${location.host}/live`);
const messages = new Messages();
const model = new Model(connection);
const watching = new Watching(connection, model, text => messages.add({level: "error", text}));
startTheme(byId("theme"));
closeMenus();
const transport = new Transport(model, connection);
const picture = new Picture(model, watching);
const plots = new Plots(model, watching);
const properties = new Properties(model, connection, filter => graph.choose(filter));
const graph = new Graph(model, {
  pin: name => plots.open(name),
  filter: name => properties.choose(name, {focus: true}),
  failed: text => messages.add({level: "error", text})
});

let lastNotes = [];
connection.on("status", status => {
  status.time = decode(status.time);
  for (const part of ["outputs", "inputs", "filters"]) status[part] ??= {};  // there are none while a restart builds
  transport.update(status);
  graph.update(status);
  properties.update(status);
  for (const text of status.notes.filter(note => !lastNotes.includes(note))) messages.add({level: "note", at: status.time, text});
  lastNotes = status.notes;
});
connection.on("message", message => messages.add(message));

let wasOpen = false;
connection.on("open", () => {
  wasOpen = byId("banner").hidden = true;
  messages.clear();  // what the run has said so far is told again
});
connection.on("closed", wait => {
  const what = wasOpen ? "The connection to kavelin is lost. What is shown is the last that came."
    : "kavelin does not take this page: it has ended, or it serves as many pages as it can.";
  byId("banner-text").textContent = `${what} Next attempt in ${wait} s.`;
  byId("banner").hidden = false;
  plots.gap();
});
byId("retry").addEventListener("click", () => connection.retry());

const help = byId("help");
byId("help-close").addEventListener("click", () => help.close());
byId("help-open").addEventListener("click", () => help.showModal());
startKeys([
  {key: " ", name: "Space", about: "pause, continue", act: () => transport.toggle()},
  {key: ".", name: ".", about: "one row", act: () => transport.step()},
  {key: "r", name: "r", about: "restart", act: () => transport.restart()},
  {key: "c", name: "c", about: "camera as at the start", act: () => picture.resetCamera()},
  {key: "g", name: "g", about: "go to the graph", act: () => graph.focus()},
  {key: "p", name: "p", about: "go to the choice of plots", act: () => byId("add-plot").focus()},
  {key: "f", name: "f", about: "go to the choice of filters", act: () => byId("filter").focus()},
  {key: "?", name: "?", about: "this list", act: () => help.showModal()}
], help, byId("keys"));

/** For tests and for the curious: what is drawn, as numbers. */
window.kavelinView = {
  /** The rotation in which the unit of an attitude pin is drawn, in its earth frame, row by row; null where it is not drawn. */
  unitMatrix: pin => picture.unitMatrix(pin),
  /** The newest sample of a pin that is watched. */
  sample: pin => model.newest.get(pin) ?? null,
  /** How often the picture was drawn. */
  draws: () => picture.draws
};

connection.connect();
