// What the picture shows: which attitudes, in which frames, at which places.

import {earthFrame} from "/app/frames.js";
import {IDENTITY} from "/app/rotation.js";

const MOST_UNITS = 4;  // shown without being asked for

/** What an attitude is called: its label, or its pin where two have the same. */
export function nameOf(layout, {pin, label}) {
  return layout.attitudes.some(other => other.label === label && other.pin !== pin) ? pin : label;
}

/** The pins shown at first: the units of a joint, or one attitude of each filter; and the references. */
export function firstChoice(layout) {
  const units = layout.attitudes.filter(attitude => !attitude.isReference).sort((a, b) => a.order - b.order);
  const references = layout.attitudes.filter(attitude => attitude.isReference).map(attitude => attitude.pin);
  const ofJoints = layout.joints.flatMap(joint => joint.units);
  if (ofJoints.length > 0) return [...new Set(ofJoints), ...references];
  const firstOfEach = units.filter(unit => units.find(other => filterOf(other) === filterOf(unit)) === unit);
  return [...firstOfEach.slice(0, MOST_UNITS).map(unit => unit.pin), ...references];
}

export const filterOf = attitude => attitude.pin.slice(0, attitude.pin.indexOf(":"));

/** The pins with the angles of a joint: all that its filter computes, or else the one that the server names. */
export function anglePins(model, joint) {
  const filter = model.filters.get(filterOf(joint));
  const angles = filter.outputs.filter(pin => pin.quantity === "angle").map(pin => `${filter.name}:${pin.name}`);
  return angles.length > 0 ? angles : [joint.pin];
}

/** [{attitude, name, place, earth, toWorld}]: units side by side, each reference where the unit is that it is compared with. */
export function places(layout, shownPins) {
  const shown = layout.attitudes.filter(attitude => shownPins.has(attitude.pin)).sort((a, b) => a.order - b.order);
  const units = shown.filter(attitude => !attitude.isReference);
  const common = units.map(unit => earthFrame(unit.frame)).find(Boolean) ?? null;
  return shown.map(attitude => {
    const earth = earthFrame(attitude.frame) ?? (attitude.isReference && !attitude.frame ? common : null);
    const place = attitude.isReference ? placeOfReference(layout, attitude, units) : units.indexOf(attitude);
    return {attitude, name: nameOf(layout, attitude), place, earth, toWorld: earth?.toWorld ?? IDENTITY};
  });
}

function placeOfReference(layout, reference, units) {
  const targets = layout.connections.filter(c => c.from === reference.pin).map(c => c.to.split(":")[0]);
  const compared = layout.connections.filter(c => targets.includes(c.to.split(":")[0])).map(c => c.from.split(":")[0]);
  return Math.max(0, units.findIndex(unit => compared.includes(filterOf(unit))));
}
