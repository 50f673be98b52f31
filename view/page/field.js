// One property as a field: written by Enter or on leaving it; a refusal is shown beside it and the old value put back.

import {element} from "/app/elements.js";

const isTrue = text => text === "1" || text === "true";

export class Field {
  #property;
  #write;
  #input;
  #reset;
  #note = element("span", {class: "note", role: "status"});
  #refusal = element("span", {class: "refusal", role: "alert"});
  #hint = element("span", {class: "hint"});
  #isEdited = false;

  /** write(text) resolves with the reply. */
  constructor(property, id, write) {
    this.#write = write;
    this.#input = makeInput(property);
    this.#input.id = id;
    this.#hint.id = `${id}-hint`;
    this.#refusal.id = `${id}-refusal`;
    this.#input.setAttribute("aria-describedby", `${this.#hint.id} ${this.#refusal.id}`);
    this.#input.addEventListener("input", () => { this.#isEdited = true; });
    this.#input.addEventListener("change", () => this.#send());
    this.#input.addEventListener("blur", () => this.#left());
    this.#input.addEventListener("keydown", event => event.key === "Escape" && this.#undo());
    this.#reset = element("button", {type: "button", class: "reset", "aria-label": `Reset ${property.name} to its default`}, "Default");
    this.#reset.addEventListener("click", () => this.#send(this.#property.default));
    const unit = property.unit ? [element("span", {class: "unit"}, property.unit)] : [];
    this.root = element("div", {class: "field", "data-property": property.name},
      element("label", {for: id}, property.name), element("span", {class: "value"}, this.#input, ...unit), this.#reset,
      this.#hint, this.#note, this.#refusal);
    this.update(property);
  }

  /** The property as it is now, whoever changed it. What is being edited is left alone. */
  update(property) {
    const isNew = this.#property && property.value !== this.#property.value;
    this.#property = property;
    const isOff = !property.enabled || !property.writable;
    this.#input.disabled = !property.enabled || isOff && ["checkbox", "select-one"].includes(this.#input.type);
    this.#input.readOnly = !property.writable;
    this.#reset.hidden = isOff || property.default === undefined;
    this.#reset.disabled = property.value === property.default;
    this.root.classList.toggle("off", isOff);
    this.#hint.textContent = hintOf(property);
    if (!this.#isEdited) this.#show();
    else if (isNew) this.#note.textContent = `Changed elsewhere to ${display(property, property.value)}; Esc takes it over.`;
  }

  async #send(text = textOf(this.#input)) {
    this.#isEdited = false;
    this.#note.textContent = this.#refusal.textContent = "";
    if (text === null) {
      this.#refusal.textContent = "This is not a number.";
      return this.#show();
    }
    const reply = await this.#write(text);
    if (!reply.ok) this.#refusal.textContent = reply.text;
    this.#show();
  }

  #left() {
    if (!this.#isEdited) return;
    this.#undo();  // edited back to what it was: no change to write
  }

  #undo() {
    this.#isEdited = false;
    this.#note.textContent = "";
    this.#show();
  }

  #show() {
    const {value} = this.#property;
    if (this.#input.type === "checkbox") this.#input.checked = isTrue(value);
    else this.#input.value = value;
  }
}

function makeInput({kind, labels, minimum, maximum, step}) {
  if (kind === "bool") return element("input", {type: "checkbox"});
  if (labels) return element("select", {}, ...labels.map(text => element("option", {value: text}, text)));
  if (kind === "int" || kind === "double") {
    const steps = step ?? (kind === "int" ? 1 : "any");
    return element("input", {type: "number", min: minimum ?? undefined, max: maximum ?? undefined, step: steps, autocomplete: "off"});
  }
  return element("input", {type: "text", class: kind === "matrix" ? "matrix" : "text", autocomplete: "off", spellcheck: "false"});
}

/** null: no number was typed. */
function textOf(input) {
  if (input.type === "checkbox") return input.checked ? "1" : "0";
  return input.type === "number" && (input.validity.badInput || input.value === "") ? null : input.value;
}

const display = (property, text) => property.kind === "bool" ? (isTrue(text) ? "on" : "off") : text === "" ? "empty" : text;

function hintOf(property) {
  const {kind, minimum, maximum, unit, writable, enabled} = property;
  const has = value => value !== undefined && value !== null;
  const range = has(minimum) && has(maximum) ? `${minimum} to ${maximum}${unit ? ` ${unit}` : ""}`
    : has(minimum) ? `${minimum} or more` : has(maximum) ? `${maximum} or less` : "";
  return [kind === "matrix" ? "rows, columns, elements row by row" : "", range,
          property.default !== undefined ? `default: ${display(property, property.default)}` : "",
          !writable ? (kind === "file name" ? "given where kavelin is started" : "read only") : "", !enabled ? "not in use now" : ""].filter(Boolean).join("; ");
}
