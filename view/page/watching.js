// Which pins the server sends: what the parts of the page ask for, together.

/** The parts name what they need by `need`; the server is told once all of them have. */
export class Watching {
  #connection;
  #model;
  #needs = new Map();  // part -> pins
  #isDue = false;
  #limit = 64;

  /** refused(text) is called with what could not be watched. */
  constructor(connection, model, refused) {
    this.#connection = connection;
    this.#model = model;
    this.refused = refused;
    connection.on("open", hello => { this.#limit = hello.limits.pins; });
    model.on("layout", () => this.#schedule());
  }

  need(part, pins) {
    this.#needs.set(part, pins);
    this.#schedule();
  }

  #schedule() {
    if (this.#isDue) return;
    this.#isDue = true;
    queueMicrotask(() => this.#send());
  }

  async #send() {
    this.#isDue = false;
    if (!this.#model.layout) return;
    const known = [...new Set([...this.#needs.values()].flat())].filter(pin => this.#model.outputs.has(pin));
    const left = known.slice(this.#limit);
    if (left.length > 0) this.refused(`No more than ${this.#limit} pins can be watched: ${left.join(", ")} left out.`);
    const reply = await this.#connection.request("watch", {pins: known.slice(0, this.#limit)});
    if (!reply.ok && !reply.isLost) this.refused(reply.text);
  }
}
