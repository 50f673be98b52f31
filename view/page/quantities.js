// What can be shown of a pin: its elements with their names, degrees instead of radians, Euler angles of an orientation.

import {DEGREES, eulerAngles, rotationAngle, rotationOf} from "/app/rotation.js";

export const isFlag = (pin, sample) =>
  pin.quantity === "flag" || pin.name.startsWith("flag_") && (pin.shape === "1x1" || sample?.v.length === 1);

/**
 * [{id, text, unit, labels, valuesOf, wraps, decimals}], the usual one first.  `wraps`: angles that jump by a full turn;
 * `decimals`: of the values, where they are fixed.
 */
export function viewsOf(pin, sample) {
  const unit = pin.unit ?? "";
  const elements = {id: "elements", text: "elements", unit, labels: elementNames(pin, sample), valuesOf: one => one.v};
  if (pin.quantity === "orientation") return [eulerView, angleView, elements];
  if (!/^rad\b/.test(unit)) return [elements];
  const toDegrees = one => one.v.map(value => value * DEGREES);
  const degrees = {...elements, id: "degrees", text: "degrees", unit: unit.replace("rad", "deg"), valuesOf: toDegrees};
  return [degrees, {...elements, text: "radians"}];
}

const eulerView = {
  id: "euler", text: "Euler angles", unit: "deg", labels: ["yaw", "pitch", "roll"], about: "turns about z, y, x", wraps: true, decimals: 1,
  valuesOf: sample => { const r = rotationOf(sample); return r ? eulerAngles(r) : [NaN, NaN, NaN]; }
};

const angleView = {
  id: "angle", text: "angle", unit: "deg", labels: ["angle"], about: "angle of the whole rotation", decimals: 1,
  valuesOf: sample => { const r = rotationOf(sample); return [r ? rotationAngle(r) : NaN]; }
};

/** From the quantity where it lists them ("error: total, heading, tilt"), otherwise x y z, w x y z, or row and column. */
function elementNames(pin, sample) {
  const n = sample.v.length;
  if (n === 1) return [pin.name];
  const listed = (pin.quantity ?? "").replace(/^.*(:| of )/, "").split(/, | and /);
  if (listed.length === n) return listed;
  if (Math.min(sample.rows, sample.cols) === 1) {
    if (n === 3) return ["x", "y", "z"];
    if (n === 4) return ["w", "x", "y", "z"];
    return Array.from({length: n}, (_, i) => String(i));
  }
  return Array.from({length: n}, (_, i) => `${Math.floor(i / sample.cols)}${i % sample.cols}`);
}
