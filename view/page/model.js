// What runs, as last told: filters, pins, the newest samples. Every part of the page reads it here.

import {Events} from "/app/events.js";
import {decode} from "/app/numbers.js";

/** Emits "layout", "samples" (map of pin to sample), "property" ({filter, property}). */
export class Model extends Events {
  layout = null;
  filters = new Map();  // name -> filter
  outputs = new Map();  // "FILTER:PIN" -> {pin, filter}
  newest = new Map();   // "FILTER:PIN" -> sample

  constructor(connection) {
    super();
    connection.on("layout", message => this.#setLayout(message));
    connection.on("samples", message => this.#addSamples(message.pins));
    connection.on("property", message => this.#setProperty(message));
  }

  #setLayout(layout) {
    this.layout = layout;
    this.filters = new Map(layout.filters.map(filter => [filter.name, filter]));
    this.outputs = new Map(layout.filters.flatMap(filter => filter.outputs.map(pin => [`${filter.name}:${pin.name}`, {pin, filter}])));
    this.newest.clear();
    this.emit("layout", layout);
  }

  #addSamples(pins) {
    for (const [name, sample] of Object.entries(pins)) {
      sample.v = sample.v.map(decode);
      sample.t = decode(sample.t);
      if ("low" in sample) [sample.low, sample.high] = [decode(sample.low), decode(sample.high)];
      this.newest.set(name, sample);
    }
    this.emit("samples", pins);
  }

  #setProperty({filter: name, property}) {
    const properties = this.filters.get(name)?.properties;
    const index = properties?.findIndex(known => known.name === property.name) ?? -1;
    if (index < 0) return;
    properties[index] = property;
    this.emit("property", {filter: name, property});
  }
}
