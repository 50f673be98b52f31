// Samples as the rows that a chart takes: [t, values...], NaN where the line is broken.

/** Where an angle jumps by a full turn, the line is broken rather than drawn across. */
export function rowsOf(samples, view) {
  const rows = [];
  const n = view.labels.length;
  let previous = null;
  for (const sample of samples) {
    const values = sample.v === null || sample.v.length < n && view.id !== "euler" && view.id !== "angle"
      ? new Array(n).fill(NaN) : view.valuesOf(sample).slice(0, n).map(value => Number.isFinite(value) ? value : NaN);
    if (view.wraps && previous) breakAtJumps(rows, previous, values, sample.t);
    rows.push([sample.t, ...values]);
    previous = values;
  }
  return rows;
}

function breakAtJumps(rows, previous, values, t) {
  const jumps = values.map((value, i) => Math.abs(value - previous[i]) > 180);
  if (jumps.includes(true)) rows.push([t, ...values.map((value, i) => jumps[i] ? NaN : value)]);
}
