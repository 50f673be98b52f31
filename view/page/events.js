// Who wants to know is told: on("status", function), emit("status", value).

export class Events {
  #listeners = new Map();

  on(name, listener) {
    if (!this.#listeners.has(name)) this.#listeners.set(name, []);
    this.#listeners.get(name).push(listener);
  }

  emit(name, value) {
    for (const listener of this.#listeners.get(name) ?? []) listener(value);
  }
}
