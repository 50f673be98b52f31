// The panel with the properties and commands of the chosen filter.

import {element, setOptions} from "/app/elements.js";
import {describeErrors} from "/app/overlay.js";
import {Field} from "/app/field.js";

export class Properties {
  #model;
  #connection;
  #chosen;
  #filter = "";
  #fields = new Map();  // property -> Field, or button of a command
  #errors = document.getElementById("filter-errors");
  #list = document.getElementById("property-list");
  #select = document.getElementById("filter");

  /** chosen(name) is called with each filter that is chosen here. */
  constructor(model, connection, chosen) {
    this.#model = model;
    this.#connection = connection;
    this.#chosen = chosen;
    this.#select.addEventListener("change", () => this.choose(this.#select.value));
    model.on("layout", layout => this.#onLayout(layout));
    model.on("property", ({filter, property}) => filter === this.#filter && this.#update(property));
  }

  get filter() { return this.#filter; }

  choose(name, {focus = false} = {}) {
    this.#filter = this.#select.value = name;
    this.#build();
    this.#chosen(name);
    if (!focus) return;
    document.getElementById("properties").scrollIntoView({block: "nearest"});
    (this.#list.querySelector("input:not(:disabled), select:not(:disabled), button:not(:disabled)") ?? this.#select).focus({preventScroll: true});
  }

  /** The errors of the chosen filter, with their text. */
  update(status) {
    const state = status.filters[this.#filter];
    const text = state?.errors > 0 ? describeErrors(state) : "";
    if (this.#errors.textContent !== text) this.#errors.textContent = text;
    this.#errors.hidden = text === "";
  }

  #onLayout(layout) {
    const options = layout.filters.map(({name, type}) => ({value: name, text: `${name} (${type})`}));
    setOptions(this.#select, options, this.#filter);
    const kept = this.#model.filters.has(this.#filter) ? this.#filter : null;
    const estimator = layout.attitudes.find(attitude => !attitude.isReference)?.pin.split(":")[0];
    this.choose(kept ?? estimator ?? layout.filters[0]?.name ?? "");
  }

  #build() {
    this.#fields.clear();
    const filter = this.#model.filters.get(this.#filter);
    const properties = filter?.properties ?? [];
    const fields = properties.filter(property => property.kind !== "command").map((property, i) => {
      const write = value => this.#connection.request("write", {filter: filter.name, property: property.name, value});
      const field = new Field(property, `property-${i}`, write);
      this.#fields.set(property.name, field);
      return field.root;
    });
    const commands = properties.filter(property => property.kind === "command").map(property => this.#command(filter, property));
    const none = properties.length === 0 ? [element("p", {class: "empty"}, "This filter has no properties.")] : [];
    const row = commands.length > 0 ? [element("div", {class: "commands", role: "group", "aria-label": "Commands"}, ...commands)] : [];
    this.#list.replaceChildren(...row, ...fields, ...none);
  }

  #command(filter, property) {
    const reply = element("span", {class: "refusal", role: "status"});
    const button = element("button", {type: "button", "data-command": property.name}, property.name);
    button.disabled = !property.enabled || !property.writable;
    button.addEventListener("click", async () => {
      const {ok, text} = await this.#connection.request("command", {filter: filter.name, property: property.name});
      reply.textContent = ok ? "done" : text;
      reply.classList.toggle("done", ok);
    });
    this.#fields.set(property.name, {update: changed => { button.disabled = !changed.enabled || !changed.writable; }});
    return element("span", {class: "command"}, button, reply);
  }

  #update(property) {
    this.#fields.get(property.name)?.update(property);
  }
}
