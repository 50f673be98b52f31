// Numbers as the server writes them, and as people read them.

const NAMED = {nan: NaN, inf: Infinity, "-inf": -Infinity};

/** A number of a message: JSON has no nan and no infinities, so these are strings. */
export const decode = value => typeof value === "number" ? value : NAMED[value] ?? NaN;

/** With so many decimals; a dash where there is no number. A true minus sign, so that columns of digits stay aligned. */
export function fixed(value, decimals) {
  if (!Number.isFinite(value)) return Number.isNaN(value) || value === undefined ? "–" : value > 0 ? "∞" : "−∞";
  const text = value.toFixed(decimals);
  return (Number(text) === 0 ? text.replace("-", "") : text).replace("-", "−");
}

/** About four significant digits, at most four decimals; for values that change while they are read. */
export function brief(value) {
  const size = Math.abs(value);
  if (!Number.isFinite(value) || size === 0) return fixed(value, 0);
  if (size >= 1e6 || size < 1e-4) return value.toExponential(2).replace(/-/g, "−");
  return fixed(value, Math.max(0, Math.min(4, 3 - Math.floor(Math.log10(size)))));
}

/** A tick of an axis: no digit that says nothing. */
export const tick = value => String(Number(value.toPrecision(12))).replace("-", "−");

/** Counts in little room: 950, 1.2k, 34k, 5.6M. */
export function count(value) {
  if (!Number.isFinite(value)) return "–";
  if (value < 1000) return String(Math.round(value));
  const [scaled, letter] = value < 1e6 ? [value / 1e3, "k"] : [value / 1e6, "M"];
  return (scaled < 9.95 ? scaled.toFixed(1) : Math.round(scaled)) + letter;
}
