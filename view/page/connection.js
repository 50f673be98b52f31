// The WebSocket to the program. Lost, it is tried again after waits that grow to ten seconds.

import {Events} from "/app/events.js";

const FIRST_WAIT = 0.5, LONGEST_WAIT = 10;  // s
const LOST = {ok: false, isLost: true, text: "No connection to the program."};

/** Emits "open", "closed" (s to the next attempt), and each message by its type. */
export class Connection extends Events {
  #url;
  #socket = null;
  #pending = new Map();
  #nextId = 1;
  #wait = FIRST_WAIT;
  #timer = 0;

  constructor(url) {
    super();
    this.#url = url;
    addEventListener("pageshow", event => event.persisted && this.retry());
  }

  connect() {
    clearTimeout(this.#timer);
    this.#socket?.close();
    const socket = this.#socket = new WebSocket(this.#url);
    socket.addEventListener("message", event => socket === this.#socket && this.#receive(JSON.parse(event.data)));
    socket.addEventListener("close", () => socket === this.#socket && this.#lost());
  }

  /** At once, instead of after the wait. */
  retry() {
    if (this.#socket.readyState === WebSocket.OPEN) return;
    this.#wait = FIRST_WAIT;
    this.connect();
  }

  /** Resolves with the reply, {ok, text}, or {isLost} where there is no connection; never rejects. */
  request(action, fields = {}) {
    if (this.#socket?.readyState !== WebSocket.OPEN) return Promise.resolve(LOST);
    const id = this.#nextId++;
    this.#socket.send(JSON.stringify({do: action, id, ...fields}));
    return new Promise(resolve => this.#pending.set(id, resolve));
  }

  #receive(message) {
    if (message.type === "hello") {
      this.#wait = FIRST_WAIT;
      this.emit("open", message);
    }
    if (message.type !== "reply") return this.emit(message.type, message);
    this.#pending.get(message.id)?.(message);
    this.#pending.delete(message.id);
  }

  #lost() {
    for (const resolve of this.#pending.values()) resolve(LOST);
    this.#pending.clear();
    this.emit("closed", this.#wait);
    this.#timer = setTimeout(() => this.connect(), this.#wait * 1000);
    this.#wait = Math.min(LONGEST_WAIT, this.#wait * 2);
  }
}
