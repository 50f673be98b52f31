// Errors and notes, in their order; the list stays at its end unless somebody has scrolled up.

import {element} from "/app/elements.js";
import {fixed} from "/app/numbers.js";

const MOST = 200;

export class Messages {
  #list = document.getElementById("message-list");
  #empty = document.getElementById("messages-empty");
  #shown = new Map();  // filter and text -> {count, number, time}

  constructor() {
    document.getElementById("messages-clear").addEventListener("click", () => this.clear());
  }

  /** message: {level, filter, at, text, count}; the same text of the same filter again only raises its count. */
  add({level, filter, at, text, count = 1}) {
    const key = `${filter ?? ""}\n${text}`;
    const known = this.#shown.get(key);
    if (known) return this.#again(known, at, count);
    const number = element("span", {class: "count"}), time = element("span", {class: "time"});
    const entry = {count: 0, number, time};
    this.#shown.set(key, entry);
    const who = filter ? [element("strong", {}, `${filter}: `)] : [];
    const isAtEnd = this.#list.scrollHeight - this.#list.scrollTop - this.#list.clientHeight < 4;
    this.#list.append(element("li", {class: `level-${level}`}, time, element("span", {class: "level"}, level),
      element("span", {class: "text"}, ...who, text, number)));
    this.#again(entry, at, count);
    this.#forget();
    if (isAtEnd) this.#list.scrollTop = this.#list.scrollHeight;
  }

  clear() {
    this.#shown.clear();
    this.#list.replaceChildren();
    this.#empty.hidden = false;
  }

  #again(entry, at, count) {
    entry.count = Math.max(entry.count + 1, count);
    entry.number.textContent = entry.count > 1 ? ` (${entry.count} times)` : "";
    entry.time.textContent = Number.isFinite(at) ? `${fixed(at, 2)} s` : "";
    this.#empty.hidden = true;
  }

  #forget() {
    if (this.#list.children.length <= MOST) return;
    this.#list.firstElementChild.remove();
    this.#shown.delete(this.#shown.keys().next().value);
  }
}
