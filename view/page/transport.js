// Pause, one row, restart, pace; time, rows, progress; what can be saved.

import {element, setOptions} from "/app/elements.js";
import {fixed} from "/app/numbers.js";

const byId = id => document.getElementById(id);
const PACES = ["0.1", "0.2", "0.5", "1", "2", "5", "10", "20", "50", "100", "max"];
const STATES = {playing: "playing", paused: "paused", ended: "ended"};

export class Transport {
  #connection;
  #status = null;
  #isLive = false;

  constructor(model, connection) {
    this.#connection = connection;
    byId("pause").addEventListener("click", () => this.toggle());
    byId("step").addEventListener("click", () => this.step());
    byId("restart").addEventListener("click", () => this.restart());
    byId("pace").addEventListener("change", () => this.#setPace(byId("pace").value));
    model.on("layout", layout => this.#onLayout(layout));
    this.#offerPaces("1");
  }

  toggle() { return this.#act(this.#status?.state === "playing" ? "pause" : "continue"); }
  step() { return this.#act("step"); }
  restart() { return this.#act("restart"); }

  #act(action) { return this.#request("transport", {action}); }

  async #setPace(text) {
    await this.#request("pace", {pace: text === "max" ? text : Number(text)});
    if (this.#status) this.#showPace(this.#status.pace);
  }

  async #request(action, fields) {
    const {ok, text} = await this.#connection.request(action, fields);
    byId("transport-refusal").hidden = ok;
    byId("transport-refusal").textContent = ok ? "" : text;
  }

  #onLayout(layout) {
    this.#isLive = layout.isLive;
    byId("title").textContent = layout.title;
    document.title = `${layout.title} – Kavelin view`;
    for (const name of ["restart", "pace-choice", "progress"]) byId(name).hidden = layout.isLive;
    byId("results").hidden = layout.results.length === 0;
    byId("results").querySelector("ul").replaceChildren(...layout.results.map(({index, name}) =>
      element("li", {}, element("a", {href: `/results/${index}`, download: true}, name))));
  }

  update(status) {
    const isNewPace = status.pace !== this.#status?.pace;
    this.#status = status;
    document.documentElement.dataset.state = status.state;
    byId("pause").textContent = status.state === "playing" ? "Pause" : "Continue";
    byId("pause").disabled = byId("step").disabled = status.state === "ended";
    byId("state").textContent = this.#isLive && status.state === "playing" ? "live" : STATES[status.state] ?? status.state;
    byId("time").textContent = fixed(status.time, 2);
    byId("rows").textContent = status.rows;
    byId("lag").textContent = fixed(status.lag * 1000, 0);
    byId("pages").textContent = status.pages;
    byId("progress").value = status.progress ?? 0;
    byId("progress").classList.toggle("unknown", status.progress === null);
    if (isNewPace) this.#showPace(status.pace);
  }

  #showPace(pace) {
    this.#offerPaces(String(pace));
  }

  /** A pace that the command line gave is offered too. */
  #offerPaces(current) {
    const paces = PACES.includes(current) ? PACES : [current, ...PACES];
    setOptions(byId("pace"), paces.map(value => ({value, text: value === "max" ? "as fast as it goes" : `${value} ×`})), current);
  }
}
