// The last seconds of a pin, in bounded memory.

export const LONGEST = 120;   // s
const MOST_SAMPLES = 8000;    // 30 a second for longer than LONGEST; at a slow pace every second one is left out, again and again

export class History {
  samples = [];  // {t, rows, cols, v}; v null where nothing is known: a gap
  bands = [];    // flags: {from, to, isWhole}; isWhole: raised all the time, otherwise only some of it
  watchedFrom = NaN;

  /** A pin that goes back in time starts over. */
  add(sample, isFlag) {
    const last = this.samples[this.samples.length - 1];
    if (last && sample.t < last.t) this.clear();
    else if (last && sample.t === last.t && last.v) this.samples.pop();
    if (this.samples.length === 0) this.watchedFrom = sample.t;
    if (isFlag) this.#addBand(last?.v && sample.t > last.t ? last.t : sample.t, sample);
    this.samples.push(sample);
    this.#forget(sample.t - LONGEST);
  }

  /** Nothing is known from here to the next sample. */
  gap() {
    const last = this.samples[this.samples.length - 1];
    if (last?.v) this.samples.push({t: last.t, rows: last.rows, cols: last.cols, v: null});
  }

  clear() {
    this.samples = [];
    this.bands = [];
  }

  /** The share of a flag's time from `start` on in which it was raised, at most. */
  raisedShare(start) {
    const end = this.samples[this.samples.length - 1]?.t ?? NaN;
    const begin = Math.max(start, this.watchedFrom);
    const raised = this.bands.reduce((sum, band) => sum + Math.max(0, band.to - Math.max(band.from, begin)), 0);
    return end > begin ? raised / (end - begin) : NaN;
  }

  #addBand(from, {t, v, low = v[0], high = v[0]}) {
    if (!(high >= 0.5)) return;
    const isWhole = low >= 0.5;
    const last = this.bands[this.bands.length - 1];
    if (last && last.to === from && last.isWhole === isWhole) last.to = t;
    else this.bands.push({from, to: t, isWhole});
  }

  #forget(start) {
    const firstKept = this.samples.findIndex(sample => sample.t >= start);
    if (firstKept > 256) this.samples.splice(0, firstKept - 1);
    if (this.samples.length > MOST_SAMPLES) this.samples = this.samples.filter((sample, i) => i % 2 === 1 || !sample.v);
    const firstBand = this.bands.findIndex(band => band.to >= start);
    if (firstBand > 64) this.bands.splice(0, firstBand);
    if (this.bands.length > MOST_SAMPLES) this.bands.splice(0, this.bands.length - MOST_SAMPLES);
  }
}
