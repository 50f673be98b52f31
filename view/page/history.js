// The last seconds of a pin, in bounded memory.

export const LONGEST = 120;   // s
const CLOSEST = LONGEST / 8000;  // s between two samples that are kept; a screen shows no more
const MOST_BANDS = 8000;

export class History {
  samples = [];  // {t, rows, cols, v}; v null where nothing is known: a gap
  bands = [];    // flags: {from, to, isWhole}; isWhole: raised all the time, otherwise only some of it
  watchedFrom = NaN;

  /** A pin that goes back in time starts over. */
  add(sample, isFlag) {
    const last = this.samples[this.samples.length - 1];
    if (last && sample.t < last.t) this.clear();
    else if (this.#isTooClose(last, sample)) this.samples.pop();
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

  /** The newest sample is always there; the one before it makes room where they come too close. */
  #isTooClose(last, sample) {
    const before = this.samples[this.samples.length - 2];
    return last?.v && (sample.t === last.t || before?.v && last.t - before.t < CLOSEST);
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
    const firstBand = this.bands.findIndex(band => band.to >= start);
    if (firstBand > 64) this.bands.splice(0, firstBand);
    if (this.bands.length > MOST_BANDS) this.bands.splice(0, this.bands.length - MOST_BANDS);
  }
}
