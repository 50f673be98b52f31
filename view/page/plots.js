// The plots: which pins, over how many seconds. All of them show the same time.

import {element, setOptions} from "/app/elements.js";
import {isFlag} from "/app/quantities.js";
import {Plot} from "/app/plot.js";
import {onThemeChange} from "/app/theme.js";
import {recall, remember} from "/app/memory.js";
import {firstChoice} from "/app/attitudes.js";

const SHORTEST_TIME_BETWEEN_DRAWS = 50;  // ms
const ERRORS = /^error\b/;

export class Plots {
  #model;
  #watching;
  #plots = new Map();    // pin -> Plot, in the order of the page
  #time = NaN;
  #isChosen = false;
  #drawnAt = 0;
  #isDue = false;
  #list = document.getElementById("plot-list");
  #window = document.getElementById("window");
  #add = document.getElementById("add-plot");

  constructor(model, watching) {
    this.#model = model;
    this.#watching = watching;
    this.#window.addEventListener("change", () => { this.#remember(); this.#schedule(); });
    this.#add.addEventListener("change", () => { if (this.#add.value) this.open(this.#add.value); this.#add.value = ""; });
    model.on("layout", () => this.#onLayout());
    model.on("samples", pins => this.#onSamples(pins));
    onThemeChange(() => { for (const plot of this.#plots.values()) plot.restyle(); this.#schedule(); });
    this.#showHint();
  }

  /** Opens the plot of a pin, or goes to the one that is open. */
  open(pin, {focus = true, view = null} = {}) {
    let plot = this.#plots.get(pin);
    if (!plot) {
      plot = new Plot(pin, this.#model.outputs.get(pin).pin, 
        {close: () => this.#close(pin), highlight: t => this.#highlight(t), changed: () => { this.#remember(); this.#schedule(); }}, view);
      this.#plots.set(pin, plot);
      this.#list.append(plot.root);
      const newest = this.#model.newest.get(pin);
      if (newest) plot.add(newest);
      this.#changed();
    }
    if (!focus) return;
    plot.root.scrollIntoView({block: "nearest"});
    plot.focus();
  }

  /** The link was lost: what was missed is a gap. */
  gap() {
    for (const plot of this.#plots.values()) plot.history.gap();
  }

  #close(pin) {
    this.#plots.get(pin).close();
    this.#plots.delete(pin);
    this.#changed();
    const next = this.#plots.values().next().value;
    if (next) next.focus();
    else this.#add.focus();
  }

  #changed() {
    this.#isChosen = true;
    this.#remember();
    this.#watching.need("plots", [...this.#plots.keys()]);
    this.#listPins();
    this.#showHint();
    this.#schedule();
  }

  #showHint() {
    this.#list.querySelector(":scope > .empty")?.remove();
    if (this.#plots.size === 0) this.#list.append(element("p", {class: "empty"}, "Choose a pin in the graph, or under Add."));
  }

  #onLayout() {
    this.#time = NaN;
    for (const [pin, plot] of this.#plots) {
      const known = this.#model.outputs.get(pin);
      plot.root.classList.toggle("absent", !known);
      plot.restart(known ? known.pin : plot.about);
    }
    if (!this.#isChosen && !this.#reopen()) this.#openFirst();
    this.#listPins();
    this.#schedule();
  }

  #remember() {
    const plots = [...this.#plots.values()].map(({pin, view}) => ({pin, view}));
    remember("sessionStorage", "plots", {title: this.#model.layout.title, seconds: this.#window.value, plots});
  }

  /** The plots as they were before a reload. */
  #reopen() {
    const last = recall("sessionStorage", "plots");
    if (last?.title !== this.#model.layout.title) return false;
    this.#window.value = last.seconds;
    for (const {pin, view} of last.plots) if (this.#model.outputs.has(pin)) this.open(pin, {focus: false, view});
    return true;
  }

  /** The first attitude, and its errors where there is a reference. */
  #openFirst() {
    const layout = this.#model.layout;
    const attitude = firstChoice(layout).find(pin => !layout.attitudes.find(one => one.pin === pin).isReference);
    const joint = layout.joints[0]?.pin;
    for (const pin of [joint ?? attitude, this.#errorsPin()]) if (pin) this.open(pin, {focus: false});
    this.#isChosen = this.#plots.size > 0;
  }

  #errorsPin() {
    return [...this.#model.outputs].find(([, {pin}]) => ERRORS.test(pin.quantity ?? "") || pin.name === "errors")?.[0];
  }

  #listPins() {
    const errors = this.#errorsPin();
    const free = [...this.#model.outputs].filter(([name]) => !this.#plots.has(name));
    const about = (name, pin) => name === errors ? "error against the reference" : isFlag(pin) ? "flag" : pin.quantity;
    const options = free.map(([name, {pin}]) => ({value: name, text: [name, about(name, pin)].filter(Boolean).join(", ")}));
    setOptions(this.#add, [{value: "", text: "a pin …"}, ...options], "");
  }

  #onSamples(pins) {
    for (const [pin, sample] of Object.entries(pins)) {
      this.#plots.get(pin)?.add(sample);
      if (!(sample.t <= this.#time)) this.#time = sample.t;
    }
    this.#schedule();
  }

  #highlight(t) {
    for (const plot of this.#plots.values()) plot.highlight(t);
  }

  #schedule() {
    if (this.#isDue) return;
    this.#isDue = true;
    const wait = this.#drawnAt + SHORTEST_TIME_BETWEEN_DRAWS - performance.now();
    setTimeout(() => requestAnimationFrame(() => this.#draw()), Math.max(0, wait));
  }

  #draw() {
    this.#isDue = false;
    this.#drawnAt = performance.now();
    const end = Number.isFinite(this.#time) ? this.#time : 0;
    const start = end - Number(this.#window.value);
    for (const plot of this.#plots.values()) plot.draw(start, end);
  }
}
