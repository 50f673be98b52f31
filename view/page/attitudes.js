// What the picture shows: which attitudes, in which frames, at which places.

import {earthFrame} from "/app/frames.js";
import {IDENTITY} from "/app/rotation.js";

// What comes out of these is in the same earth frame as what goes in.
const KEEP_EARTH = new Set(["FilterSegment", "FilterResampler", "FilterHingeHeading", "FilterSampleHold"]);
const MOST_UNITS = 4;  // shown without being asked for

/** What an attitude is called: its label, or its pin where two that are shown have the same. */
const nameOf = (shown, {pin, label}) => shown.some(other => other.label === label && other.pin !== pin) ? pin : label;

/** The pins shown at first: the units of a joint; otherwise one attitude of each filter, and the references. */
export function firstChoice(layout) {
  const units = layout.attitudes.filter(attitude => !attitude.isReference).sort((a, b) => a.order - b.order);
  const references = layout.attitudes.filter(attitude => attitude.isReference).map(attitude => attitude.pin);
  const ofJoints = layout.joints.flatMap(joint => unitsOf(layout, joint));
  if (ofJoints.length > 0) return [...new Set(ofJoints)];
  const firstOfEach = units.filter(unit => units.find(other => filterOf(other) === filterOf(unit)) === unit);
  return [...firstOfEach.slice(0, MOST_UNITS).map(unit => unit.pin), ...references];
}

export const filterOf = attitude => attitude.pin.slice(0, attitude.pin.indexOf(":"));

/** The attitudes on both sides of a joint: what is only passed on is followed back to the filter that computes it. */
export function unitsOf(layout, joint) {
  const isAttitude = pin => layout.attitudes.some(attitude => attitude.pin === pin);
  const units = joint.units.map(unit => {
    let pin = unit;
    for (let step = 0; pin && !isAttitude(pin) && step < layout.filters.length; ++step) pin = sourceOf(layout, pin);
    return pin;
  });
  return units.every(isAttitude) ? units : [];
}

/** What feeds the input of a pin's name, "FILTER:PIN". */
const sourceOf = (layout, name) => layout.connections.find(connection => connection.to === name)?.from;

/** The earth frame of an attitude; that of what it is made from, where it keeps it. */
function earthOf(layout, attitude, steps = layout.filters.length) {
  if (attitude.frame || steps === 0) return earthFrame(attitude.frame);
  const filter = layout.filters.find(one => one.name === filterOf(attitude));
  if (!KEEP_EARTH.has(filter.type)) return null;
  const sources = filter.inputs.map(pin => sourceOf(layout, `${filter.name}:${pin.name}`));
  const made = layout.attitudes.find(other => sources.includes(other.pin));
  return made ? earthOf(layout, made, steps - 1) : null;
}

/** A reference without a frame is in that of the unit it is compared with, unless the comparison says otherwise. */
function earthOfReference(layout, reference, unit) {
  const compared = layout.connections.filter(one => one.from === reference.pin).map(one => one.to.split(":")[0]);
  const properties = layout.filters.filter(filter => compared.includes(filter.name)).flatMap(filter => filter.properties);
  const frame = properties.find(property => property.name === "Reference Frame");
  return frame?.value === "ned" ? earthFrame("(north, east, down)") : (unit && earthOf(layout, unit)) ?? earthFrame("(east, north, up)");
}

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
  return shown.map(attitude => {
    const place = attitude.isReference ? placeOfReference(layout, attitude, units) : units.indexOf(attitude);
    const isUnnamed = attitude.isReference && !attitude.frame;
    const earth = isUnnamed ? earthOfReference(layout, attitude, units[place]) : earthOf(layout, attitude);
    return {attitude, name: nameOf(shown, attitude), place, earth, toWorld: earth?.toWorld ?? IDENTITY};
  });
}

function placeOfReference(layout, reference, units) {
  const targets = layout.connections.filter(c => c.from === reference.pin).map(c => c.to.split(":")[0]);
  const compared = layout.connections.filter(c => targets.includes(c.to.split(":")[0])).map(c => c.from.split(":")[0]);
  const place = units.findIndex(unit => compared.includes(filterOf(unit)));
  return Math.max(0, place >= 0 ? place : units.findIndex(unit => isFedBy(layout, filterOf(unit), filterOf(reference))));
}

/** Whether samples of `source` come to a filter, by whatever way. */
function isFedBy(layout, filter, source, seen = new Set()) {
  if (filter === source) return true;
  if (seen.has(filter)) return false;
  seen.add(filter);
  return layout.connections.some(({from, to}) => to.split(":")[0] === filter && isFedBy(layout, from.split(":")[0], source, seen));
}
