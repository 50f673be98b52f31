// One plot: title, legend with values, chart. The chart is made with the first sample, which tells the shape.

/* global Dygraph */

import {element} from "/app/elements.js";
import {History} from "/app/history.js";
import {brief, fixed, tick} from "/app/numbers.js";
import {isFlag, viewsOf} from "/app/quantities.js";
import {rowsOf} from "/app/series.js";
import {colour} from "/app/theme.js";

const LINES = {3: ["--axis-x", "--axis-y", "--axis-z"], 4: ["--line-w", "--axis-x", "--axis-y", "--axis-z"]};
const OTHER_LINES = ["--line-1", "--line-2", "--line-3", "--line-4", "--line-5", "--line-6"];
// Its own legend sets style attributes, which the page's content security policy forbids; and ours stands still.
Dygraph.PLUGINS = Dygraph.PLUGINS.filter(plugin => plugin !== Dygraph.Plugins.Legend);

const AXIS_WIDTH = 56;  // the same in all plots, so that their times stand below each other

export class Plot {
  #on;
  #view = null;
  #wantedView = null;
  #chart = null;
  #parts = {};
  #bandColours = [];
  #legend = [];
  #start = 0;
  #rows = [];  // of the time that is drawn
  #hovered = null;
  #shape = "";
  #isFlag = false;
  #resizing;

  /** pin: "FILTER:PIN"; about: what is known of it; on: {close(), highlight(t or null), changed()}; view: the one wanted. */
  constructor(pin, about, on, view = null) {
    this.pin = pin;
    this.about = about;
    this.history = new History();
    this.#on = on;
    this.#wantedView = view;
    this.#make();
  }

  /** What is shown of the pin, as an id; null until it is known. */
  get view() { return this.#wantedView; }

  #make() {
    const p = this.#parts;
    p.what = element("span", {class: "what"});
    p.views = element("select", {"aria-label": `What is shown of ${this.pin}`, hidden: true});
    p.views.addEventListener("change", () => { this.#wantedView = p.views.value; this.#remake(); this.#on.changed(); });
    p.close = element("button", {type: "button", class: "close", "aria-label": `Close the plot of ${this.pin}`, title: "Close"}, "×");
    p.close.addEventListener("click", () => this.#on.close());
    p.legend = element("ul", {class: "legend"});
    p.chart = element("div", {class: "chart"});
    p.empty = element("p", {class: "empty"}, "No sample yet.");
    this.root = element("section", {class: "plot", "aria-label": `Plot of ${this.pin}`, "data-pin": this.pin},
      element("div", {class: "plot-heading"}, element("h3", {}, this.pin), p.what, p.views, p.close), p.legend, p.empty, p.chart);
    this.#describe();
    this.#resizing = new ResizeObserver(() => this.#chart?.resize());
    this.#resizing.observe(p.chart);
  }

  focus() { this.#parts.close.focus(); }

  /** The same pin of what runs now; its samples start over. */
  restart(about) {
    this.about = about;
    this.history.clear();
    this.#describe();
  }

  add(sample) {
    const known = this.#shape;
    this.#shape = `${sample.rows}x${sample.cols}`;
    this.#isFlag = isFlag(this.about, sample);
    this.history.add(sample, this.#isFlag);
    if (known !== this.#shape) this.#remake();
  }

  /** Where the colours have changed, or the view. */
  #remake() {
    const sample = this.history.samples.findLast(one => one.v);
    if (!sample) return;
    const views = viewsOf(this.about, sample);
    this.#view = views.find(view => view.id === this.#wantedView) ?? views[0];
    this.#parts.views.replaceChildren(...views.map(view => element("option", {value: view.id}, view.text)));
    this.#parts.views.value = this.#view.id;
    this.#parts.views.hidden = views.length < 2;
    this.root.classList.toggle("flag", this.#isFlag);
    if (this.#isFlag) this.#parts.what.after(this.#parts.legend);  // one line for both
    this.#describe();
    this.#makeLegend();
    this.#bandColours = [colour("--band-part"), colour("--band")];
    this.#chart?.destroy();
    this.#chart = null;
  }

  restyle() { this.#remake(); }

  #describe() {
    const unit = this.#view ? this.#view.unit : this.about.unit;
    const texts = [this.about.quantity, this.#view?.about, unit, this.about.frame];
    this.#parts.what.textContent = texts.filter(Boolean).join(" · ");
  }

  #makeLegend() {
    this.#legend = this.#view.labels.map((name, i) => {
      const value = element("span", {class: "value"}, "–");
      const swatch = element("span", {class: "swatch"});
      swatch.style.backgroundColor = this.#colours()[i];
      return {value, item: element("li", {}, swatch, element("span", {}, this.#isFlag ? "raised" : name), value)};
    });
    this.#parts.legend.replaceChildren(...this.#legend.map(entry => entry.item));
  }

  #colours() {
    if (this.#isFlag) return [colour("--band")];
    const names = LINES[this.#view.labels.length] ?? OTHER_LINES;
    return this.#view.labels.map((_, i) => colour(names[i % names.length]));
  }

  /** Draws the time from `start` to `end`. */
  draw(start, end) {
    this.#start = start;
    this.#parts.empty.hidden = this.history.samples.length > 0;
    this.#parts.chart.hidden = !this.#view || this.history.samples.length === 0;
    if (this.#parts.chart.hidden) return;
    const {samples} = this.history;
    const first = samples.findIndex(sample => sample.t >= start);
    this.#rows = rowsOf(samples.slice(first < 0 ? -1 : Math.max(0, first - 1)), this.#view);
    const changes = {file: this.#rows, dateWindow: [start, end]};
    if (this.#chart) this.#chart.updateOptions(changes);
    else this.#makeChart(changes);
    if (this.#hovered === null) this.#writeLegend(this.#rows.length - 1);
  }

  #makeChart({file, dateWindow}) {
    this.#chart = new Dygraph(this.#parts.chart, file, {
      labels: ["t", ...this.#view.labels], colors: this.#colours(), dateWindow,
      strokeWidth: this.#isFlag ? 0 : 1.4, highlightCircleSize: this.#isFlag ? 0 : 3, animatedZooms: false,
      valueRange: this.#isFlag ? [0, 1] : null, yRangePad: this.#isFlag ? 0 : 10, xRangePad: 0,
      gridLineColor: colour("--grid"), axisLineColor: colour("--grid"), axisLabelWidth: AXIS_WIDTH, axisLabelFontSize: 11, rightGap: 10,
      axes: {
        x: {
          drawAxis: !this.#isFlag, drawGrid: !this.#isFlag, axisLabelFormatter: t => t < 0 ? "" : `${tick(t)} s`,
          axisLabelWidth: 80
        },
        y: {
          drawAxis: true, drawGrid: !this.#isFlag, axisLabelFormatter: value => this.#isFlag ? "" : tick(value),
          axisLabelWidth: AXIS_WIDTH - 8, pixelsPerLabel: 24
        }
      },
      interactionModel: {},  // the time that is shown is the same in all plots
      highlightCallback: (_, t) => this.#on.highlight(t),
      unhighlightCallback: () => this.#on.highlight(null),
      underlayCallback: (context, area, chart) => this.#isFlag && this.#drawBands(context, area, chart)
    });
  }

  /** A band is at least two pixels wide: a flag of a single sample is seen. */
  #drawBands(context, area, chart) {
    for (const pass of [false, true]) {
      context.fillStyle = this.#bandColours[Number(pass)];
      for (const band of this.history.bands) {
        if (band.isWhole !== pass || band.to < this.#start) continue;
        const left = Math.max(area.x, chart.toDomXCoord(band.from)), right = Math.min(area.x + area.w, chart.toDomXCoord(band.to));
        context.fillRect(Math.min(left, right - 2), area.y + 3, Math.max(2, right - left), area.h - 6);
      }
    }
  }

  /** Shows the values at a time that is pointed at, in this plot or another; null: the newest. */
  highlight(t) {
    this.#hovered = t;
    if (!this.#chart) return;
    const index = t === null ? this.#rows.length - 1 : nearest(this.#rows, t);
    if (t === null) this.#chart.clearSelection();
    else this.#chart.setSelection(index);
    this.#writeLegend(index);
  }

  #writeLegend(index) {
    const row = this.#rows[index];
    if (this.#isFlag) return this.#writeFlag(row);
    this.#legend.forEach((entry, i) => { entry.value.textContent = row ? this.#format(row[i + 1]) : "–"; });
  }

  #format(value) {
    return this.#view.decimals === undefined ? brief(value) : fixed(value, this.#view.decimals);
  }

  #writeFlag(row) {
    const share = this.history.raisedShare(this.#start);
    const now = !row ? "" : row[1] >= 0.5 ? "now" : "not now";
    const shown = Number.isFinite(share) ? `, ${fixed(share * 100, share < 0.1 ? 1 : 0)} % of the time shown` : "";
    this.#legend[0].value.textContent = now + shown;
  }

  close() {
    this.#resizing.disconnect();
    this.#chart?.destroy();
    this.#chart = null;
    this.root.remove();
  }
}

function nearest(rows, t) {
  let low = 0, high = rows.length - 1;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (rows[middle][0] < t) low = middle + 1;
    else high = middle;
  }
  return low > 0 && t - rows[low - 1][0] < rows[low][0] - t ? low - 1 : low;
}
