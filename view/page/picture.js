// The panel with the picture: choice of the attitudes shown, their angles as numbers, joints.

import {anglePins, firstChoice, places, unitsOf} from "/app/attitudes.js";
import {element, listOfChoices} from "/app/elements.js";
import {describeAxes} from "/app/frames.js";
import {fixed} from "/app/numbers.js";
import {eulerAngles, rotationOf} from "/app/rotation.js";
import {Scene3d} from "/app/scene3d.js";
import {onThemeChange} from "/app/theme.js";
import {viewsOf} from "/app/quantities.js";

const byId = id => document.getElementById(id);

export class Picture {
  #model;
  #watching;
  #scene = null;
  #shown = null;         // pins; null until the first layout
  #placed = [];
  #angleCells = new Map();  // pin -> cells of yaw, pitch, roll
  #jointValues = new Map(); // pin -> element

  constructor(model, watching) {
    this.#model = model;
    this.#watching = watching;
    try {
      this.#scene = new Scene3d(byId("scene"));
    } catch {
      byId("picture-empty").textContent = "This browser has no WebGL: the picture is not drawn. The angles below are right.";
    }
    byId("camera-reset").addEventListener("click", () => this.resetCamera());
    model.on("layout", () => this.#onLayout());
    model.on("samples", pins => this.#onSamples(pins));
    onThemeChange(() => this.#model.layout && this.#build());
  }

  resetCamera() { this.#scene?.resetCamera(); }
  unitMatrix(pin) { return this.#scene?.unitMatrix(pin) ?? null; }
  get draws() { return this.#scene?.draws ?? 0; }

  #onLayout() {
    const layout = this.#model.layout;
    const known = new Set(layout.attitudes.map(attitude => attitude.pin));
    const kept = [...this.#shown ?? []].filter(pin => known.has(pin));
    this.#shown = new Set(kept.length > 0 ? kept : firstChoice(layout));
    this.#listChoices();
    this.#build();
  }

  #listChoices() {
    const layout = this.#model.layout;
    byId("shown").hidden = layout.attitudes.length === 0;
    const choices = layout.attitudes.map(attitude => ({
      id: attitude.pin, isChosen: this.#shown.has(attitude.pin),
      text: attitude.isReference ? `${attitude.pin}, reference` : attitude.pin}));
    byId("shown").querySelector("ul").replaceChildren(...listOfChoices(choices, (pin, isChosen) => {
      this.#shown[isChosen ? "add" : "delete"](pin);
      this.#build();
    }));
  }

  #build() {
    const layout = this.#model.layout;
    this.#placed = places(layout, this.#shown);
    const placeOf = pin => this.#placed.find(placed => placed.attitude.pin === pin)?.place;
    const joints = layout.joints.map(joint => ({...joint, units: unitsOf(layout, joint)}))
      .filter(joint => joint.units.length === 2 && joint.units.every(pin => this.#shown.has(pin)));
    this.#scene?.build({
      units: this.#placed.map(({attitude, name, place, toWorld}) =>
        ({pin: attitude.pin, name, place, toWorld, isGhost: attitude.isReference})),
      links: joints.map(joint => ({from: placeOf(joint.units[0]), to: placeOf(joint.units[1])})),
      isEarth: this.#placed.some(placed => placed.earth)
    });
    this.#buildAngles();
    this.#buildJoints(joints);
    this.#writeFrames();
    this.#watching.need("picture", [...this.#shown, ...this.#jointValues.keys()]);
    this.#onSamples(Object.fromEntries(this.#model.newest));
    if (this.#scene) this.#sayWhatIsMissing(layout);
  }

  #sayWhatIsMissing(layout) {
    byId("picture-empty").hidden = this.#placed.length > 0;
    byId("picture-empty").textContent = layout.attitudes.length > 0 ? "No attitude is chosen." : "Nothing here computes an attitude.";
  }

  #buildAngles() {
    this.#angleCells.clear();
    const rows = this.#placed.map(({attitude, name}) => {
      const cells = [0, 1, 2].map(() => element("td", {}, "–"));
      this.#angleCells.set(attitude.pin, cells);
      const heading = element("th", {scope: "row", title: attitude.pin}, name);
      return element("tr", {class: attitude.isReference ? "reference" : "unit"}, heading, ...cells);
    });
    byId("angles").hidden = rows.length === 0;
    byId("angles").querySelector("tbody").replaceChildren(...rows);
  }

  #buildJoints(joints) {
    this.#jointValues.clear();
    byId("joints").replaceChildren(...joints.map(joint => {
      const values = anglePins(this.#model, joint).map(pin => {
        const value = element("span", {}, "–");
        this.#jointValues.set(pin, value);
        return value;
      });
      return element("div", {}, element("dt", {}, joint.label), element("dd", {}, ...values));
    }));
  }

  #writeFrames() {
    const frameOf = ({attitude, earth}) =>
      earth ? `earth, ${describeAxes(earth.axes)}` : `${attitude.frame || "not stated"}, drawn without north`;
    const frames = new Set(this.#placed.map(frameOf));
    const text = frames.size === 1 ? `Frame: ${[...frames][0]}.`
      : `Frames: ${this.#placed.map(placed => `${placed.name}: ${frameOf(placed)}`).join("; ")}.`;
    byId("frame-note").textContent = frames.size > 0 ? `${text} Yaw, pitch, roll: turns about z, y, x.` : "";
  }

  #onSamples(pins) {
    for (const [pin, sample] of Object.entries(pins)) {
      const cells = this.#angleCells.get(pin);
      if (cells) this.#turn(pin, rotationOf(sample), cells);
      if (this.#jointValues.has(pin)) this.#writeJoint(pin, sample);
    }
  }

  #turn(pin, rotation, cells) {
    this.#scene?.turn(pin, rotation);
    const angles = rotation ? eulerAngles(rotation) : [NaN, NaN, NaN];
    cells.forEach((cell, i) => { cell.textContent = Number.isFinite(angles[i]) ? `${fixed(angles[i], 1)}°` : "–"; });
  }

  #writeJoint(pin, sample) {
    const view = viewsOf(this.#model.outputs.get(pin).pin, sample)[0];
    const values = view.valuesOf(sample);
    this.#jointValues.get(pin).textContent = view.labels.map((name, i) =>
      `${name} ${fixed(values[i], 1)}${view.unit === "deg" ? "°" : ` ${view.unit}`}`).join(", ");
  }
}
