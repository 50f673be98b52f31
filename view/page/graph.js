// The panel with the graph: clicks and keys on filters and pins, figures while it runs, size.

import {FilterOverlay, PinOverlay} from "/app/overlay.js";
import {loadGraph} from "/app/graphsvg.js";

const POINT = 4 / 3;  // pixels
const SMALLEST = 0.5, LARGEST = 3;

export class Graph {
  #model;
  #on;
  #view = document.getElementById("graph-view");
  #svg = null;
  #size = {width: 1, height: 1};  // pixels
  #scale = 1;
  #targets = [];   // what the arrow keys go through, in the order of the drawing
  #outputs = new Map();
  #inputs = new Map();
  #filters = new Map();
  #generation = 0;
  #status = null;
  #chosen = "";

  /** on: {pin(name), filter(name), failed(text)}. */
  constructor(model, on) {
    this.#model = model;
    this.#on = on;
    document.getElementById("smaller").addEventListener("click", () => this.#zoom(this.#scale / 1.2));
    document.getElementById("larger").addEventListener("click", () => this.#zoom(this.#scale * 1.2));
    document.getElementById("fit").addEventListener("click", () => this.#fit());
    this.#view.addEventListener("keydown", event => this.#onKey(event));
    model.on("layout", () => this.#load());
  }

  focus() { this.#targets.find(target => target.tabIndex === 0)?.focus(); }

  choose(filter) {
    this.#chosen = filter;
    for (const [name, overlay] of this.#filters) overlay.group.classList.toggle("chosen", name === filter);
  }

  async #load() {
    const generation = ++this.#generation;
    try {
      const graph = await loadGraph();
      if (generation === this.#generation) this.#show(graph);
    } catch (error) {
      if (generation !== this.#generation) return;
      this.#view.textContent = error.message;
      this.#on.failed(error.message);
    }
  }

  #show({svg, filters, outputs, inputs}) {
    const isFirst = !this.#svg;
    const pixels = name => parseFloat(svg.getAttribute(name)) * POINT;
    this.#size = {width: pixels("width"), height: pixels("height")};
    this.#svg = svg;
    svg.setAttribute("role", "group");
    svg.setAttribute("aria-label", "Filters and their connections");
    this.#view.replaceChildren(svg);
    for (const overlays of [this.#outputs, this.#inputs, this.#filters]) overlays.clear();
    for (const [name, group] of filters) this.#addFilter(name, group);
    for (const [name, group] of outputs) this.#addPin(this.#outputs, name, group, name);
    const sources = new Map(this.#model.layout.connections.map(({from, to}) => [to, from]));
    for (const [name, group] of inputs) this.#addPin(this.#inputs, name, group, sources.get(name));
    this.#targets = [...svg.querySelectorAll("[role=button]")];
    this.#targets.forEach((target, i) => { target.tabIndex = i === 0 ? 0 : -1; });
    if (isFirst) this.#fit();
    else this.#zoom(this.#scale);
    this.choose(this.#chosen);
    if (this.#status) this.update(this.#status);
  }

  #addFilter(name, group) {
    const filter = this.#model.filters.get(name);
    if (!filter) return;
    this.#filters.set(name, new FilterOverlay(group));
    button(group, `${name}, ${filter.type}: properties`, () => this.#on.filter(name));
  }

  /** source: the output whose plot it opens; an input without one is no button. */
  #addPin(overlays, name, group, source) {
    overlays.set(name, new PinOverlay(group));
    const pin = this.#model.outputs.get(source)?.pin;
    if (!pin) return;
    const about = [pin.quantity, pin.unit, pin.frame].filter(Boolean).join(", ");
    const role = overlays === this.#outputs ? "output" : `input, fed by ${source}`;
    button(group, `${name}, ${role}${about ? `, ${about}` : ""}: plot`, () => this.#on.pin(source));
  }

  update(status) {
    this.#status = status;
    for (const [name, overlay] of this.#outputs) if (status.outputs[name]) overlay.showRate(status.outputs[name]);
    for (const [name, overlay] of this.#inputs) if (status.inputs[name]) overlay.showBuffer(status.inputs[name]);
    for (const [name, overlay] of this.#filters) overlay.show(status.filters[name]);
  }

  #fit() {
    this.#zoom(Math.max(0.66, Math.min(1.1, (this.#view.clientWidth - 2) / this.#size.width)));
  }

  #zoom(scale) {
    if (!this.#svg) return;
    this.#scale = Math.max(SMALLEST, Math.min(LARGEST, scale));
    this.#svg.setAttribute("width", Math.floor(this.#size.width * this.#scale));
    this.#svg.setAttribute("height", Math.floor(this.#size.height * this.#scale));
  }

  #onKey(event) {
    const step = {ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1, Home: -Infinity, End: Infinity}[event.key];
    const index = this.#targets.indexOf(document.activeElement);
    if (!step || index < 0) return;
    event.preventDefault();
    const next = this.#targets[Math.max(0, Math.min(this.#targets.length - 1, index + step))];
    for (const target of this.#targets) target.tabIndex = target === next ? 0 : -1;
    next.focus();
    next.scrollIntoView({block: "nearest", inline: "nearest"});
  }
}

/** A part of the drawing that acts as a button. The inner one of two, a pin in its filter, takes the click. */
function button(group, name, act) {
  group.setAttribute("role", "button");
  group.setAttribute("aria-label", name);
  group.addEventListener("click", event => { event.stopPropagation(); act(); });
  group.addEventListener("keydown", event => {
    if (event.target !== group || event.key !== "Enter" && event.key !== " ") return;
    event.preventDefault();
    act();
  });
}
