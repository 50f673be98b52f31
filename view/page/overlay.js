// What is drawn into a pin or filter of the graph while it runs.

import {count, fixed} from "/app/numbers.js";
import {svgElement} from "/app/graphsvg.js";

/** A pin's cell: at the right its figure, at the bottom of an input how full its buffer is. */
export class PinOverlay {
  constructor(group) {
    this.group = group;
    const box = (group.querySelector("polygon") ?? group).getBBox();
    this.width = box.width;
    this.figure = svgElement("text",
      {class: "figure", x: box.x + box.width - 4, y: box.y + box.height / 2 + 3.5, "text-anchor": "end"});
    this.fill = svgElement("rect", {class: "fill", x: box.x, y: box.y + box.height - 3, width: 0, height: 3});
    this.title = svgElement("title", {});
    group.append(this.fill, this.figure, this.title);
  }

  /** The rate of an output. */
  showRate({count: total, rate}) {
    this.#write(this.figure, rate > 0 ? `${count(rate)}/s` : "");
    this.#write(this.title, `${total} samples, ${count(rate)} a second`);
  }

  /** The buffer of an input, and what it lost. */
  showBuffer({count: total, buffered, size, dropped, misfits}) {
    const share = size > 0 ? Math.min(1, buffered / size) : 0;
    this.fill.setAttribute("width", (share * this.width).toFixed(1));
    this.group.classList.toggle("bad", dropped + misfits > 0);
    const lost = [dropped > 0 ? `−${count(dropped)}` : "", misfits > 0 ? `≠${count(misfits)}` : ""];
    this.#write(this.figure, lost.filter(Boolean).join(" "));
    this.#write(this.title, `${total} samples; ${buffered} of ${size} in the buffer; ${dropped} dropped; ${misfits} of the wrong shape`);
  }

  #write(element, text) {
    if (element.textContent !== text) element.textContent = text;
  }
}

export const describeErrors = ({errors, at, last}) =>
  `${errors} ${errors === 1 ? "error" : "errors"}; the last at ${fixed(at, 2)} s: ${last}`;

/** The badge of a filter whose process() has thrown. */
export class FilterOverlay {
  constructor(group) {
    this.group = group;
    const box = group.getBBox();
    this.badge = svgElement("g", {class: "badge", transform: `translate(${box.x + box.width - 6} ${box.y + 2})`});
    this.number = svgElement("text", {"text-anchor": "middle", y: 3.5});
    this.title = svgElement("title", {});
    this.badge.append(svgElement("rect", {x: -13, y: -8, width: 26, height: 16, rx: 8}), this.number, this.title);
    group.append(this.badge);
    this.show(undefined);
  }

  show(state) {
    const errors = state?.errors ?? 0;
    this.badge.classList.toggle("hidden", errors === 0);
    const text = errors > 0 ? `${count(errors)}!` : "";
    if (this.number.textContent !== text) this.number.textContent = text;
    const about = errors > 0 ? describeErrors(state) : "";
    if (this.title.textContent !== about) this.title.textContent = about;
  }
}
