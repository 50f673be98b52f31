// The picture in three dimensions. It is drawn when something in it has changed, and not otherwise.

/* global THREE */

import {compass, lines} from "/app/compass3d.js";
import {dispose, label} from "/app/label3d.js";
import {ghostBody, unitBody} from "/app/unit3d.js";

const SPACING = 3, HEIGHT = 1.75, RADIUS = 1.75;
const STEP = Math.PI / 36;  // of an arrow key

export class Scene3d {
  draws = 0;
  #canvas;
  #renderer;
  #scene = new THREE.Scene();
  #camera = new THREE.PerspectiveCamera(32, 1, 0.1, 200);
  #controls;
  #content = new THREE.Group();
  #frames = new Map();  // pin -> {frame, unit}: `frame` turns the earth frame into the picture, `unit` carries the pin's matrix
  #width = 1;
  #isDue = false;

  /** Throws where the browser has no WebGL. */
  constructor(canvas) {
    this.#canvas = canvas;
    this.#renderer = new THREE.WebGLRenderer({canvas, antialias: true, alpha: true});
    this.#renderer.setPixelRatio(Math.min(devicePixelRatio, 2));
    this.#camera.up.set(0, 0, 1);
    const key = new THREE.DirectionalLight(0xffffff, 0.75);
    key.position.set(-3, -4, 8);
    this.#scene.add(new THREE.AmbientLight(0xffffff, 0.55), key, this.#content);
    this.#controls = new THREE.OrbitControls(this.#camera, canvas);
    this.#controls.enableKeys = false;
    this.#controls.enablePan = false;
    this.#controls.minDistance = 3;
    this.#controls.maxDistance = 60;
    this.#controls.addEventListener("change", () => this.#schedule());
    canvas.addEventListener("keydown", event => this.#onKey(event));
    new ResizeObserver(() => this.#resize()).observe(canvas.parentElement);
    this.resetCamera();
  }

  /**
   * What is drawn, built anew.  units: [{pin, name, place, toWorld, isGhost}], places count from 0 at the west.
   * links: [{from, to}], joints between two places.
   */
  build({units, links, isEarth}) {
    dispose(this.#content);
    this.#content.remove(...this.#content.children);
    this.#frames.clear();
    const places = Math.max(1, ...units.map(unit => unit.place + 1));
    if (places !== this.#width) {
      this.#width = places;
      this.resetCamera();
    }
    this.#content.add(compass(RADIUS + (places - 1) * SPACING / 2, isEarth));
    for (const unit of units) this.#addUnit(unit, places);
    for (const link of links) this.#content.add(lines([this.#position(link.from), this.#position(link.to)], "--joint"));
    this.#schedule();
  }

  #position(place) {
    return new THREE.Vector3((place - (this.#width - 1) / 2) * SPACING, 0, HEIGHT);
  }

  #addUnit({pin, name, place, toWorld, isGhost}, places) {
    const position = this.#position(place);
    const frame = new THREE.Group();
    frame.matrixAutoUpdate = false;
    setRotation(frame, toWorld).setPosition(position);
    const unit = isGhost ? ghostBody() : unitBody();
    unit.matrixAutoUpdate = false;
    unit.visible = false;
    frame.add(unit);
    this.#content.add(frame);
    this.#frames.set(pin, {frame, unit});
    if (isGhost) return;
    const foot = position.clone().setZ(0);
    this.#content.add(lines([position, foot], "--ground-line"));
    if (places > 1) this.#content.add(this.#nameBelow(name, foot));
  }

  #nameBelow(name, foot) {
    const text = label(name, getComputedStyle(this.#canvas).color, 0.4);
    text.position.copy(foot).add(new THREE.Vector3(0, -0.5, 0.1));
    return text;
  }

  /** rotation: that of the pin; null hides the unit. */
  turn(pin, rotation) {
    const drawn = this.#frames.get(pin);
    if (!drawn) return;
    drawn.unit.visible = rotation !== null;
    if (rotation) setRotation(drawn.unit, rotation);
    drawn.unit.matrixWorldNeedsUpdate = true;
    this.#schedule();
  }

  /** The rotation in which a unit is drawn, in its earth frame, row by row; null where it is not drawn. */
  unitMatrix(pin) {
    const drawn = this.#frames.get(pin);
    if (!drawn?.unit.visible) return null;
    this.#scene.updateMatrixWorld();
    const inFrame = new THREE.Matrix4().getInverse(drawn.frame.matrixWorld).multiply(drawn.unit.matrixWorld);
    const e = inFrame.elements;  // column by column
    return [e[0], e[4], e[8], e[1], e[5], e[9], e[2], e[6], e[10]];
  }

  /** From the south, a little from the east and from above. */
  resetCamera() {
    const halfWidth = RADIUS + 0.55 + (this.#width - 1) * SPACING / 2;
    const distance = 7.6 * Math.max(1, halfWidth / 1.75 / this.#camera.aspect);
    this.#controls.target.set(0, 0, 0.95);
    this.#camera.position.set(0.33, -0.82, 0.46).normalize().multiplyScalar(distance).add(this.#controls.target);
    this.#controls.update();
    this.#schedule();
  }

  #resize() {
    const {clientWidth: width, clientHeight: height} = this.#canvas.parentElement;
    if (!width || !height) return;
    const isFirst = this.#camera.aspect === 1;
    this.#renderer.setSize(width, height);
    this.#camera.aspect = width / height;
    this.#camera.updateProjectionMatrix();
    if (isFirst) this.resetCamera();
    this.#draw();  // at once: a resized canvas is empty
  }

  #onKey(event) {
    const turns = {ArrowLeft: [-STEP, 0], ArrowRight: [STEP, 0], ArrowUp: [0, -STEP], ArrowDown: [0, STEP]}[event.key];
    const zoom = {"+": 0.9, "-": 1 / 0.9}[event.key];
    if (event.ctrlKey || event.metaKey || event.altKey || !turns && !zoom) return;
    event.preventDefault();
    const target = this.#controls.target;
    const arm = this.#camera.position.clone().sub(target);
    const radius = arm.length(), azimuth = Math.atan2(arm.y, arm.x), polar = Math.acos(arm.z / radius);
    const [turn, tilt] = turns ?? [0, 0];
    const newPolar = Math.max(0.02, Math.min(Math.PI - 0.02, polar + tilt)), newRadius = radius * (zoom ?? 1);
    arm.set(Math.sin(newPolar) * Math.cos(azimuth + turn), Math.sin(newPolar) * Math.sin(azimuth + turn), Math.cos(newPolar));
    this.#camera.position.copy(arm.multiplyScalar(newRadius).add(target));
    this.#controls.update();
    this.#schedule();
  }

  #schedule() {
    if (this.#isDue) return;
    this.#isDue = true;
    requestAnimationFrame(() => this.#draw());
  }

  #draw() {
    this.#isDue = false;
    this.draws++;
    this.#renderer.render(this.#scene, this.#camera);
  }
}

/** @return the object's matrix, with rows `r` and no translation. */
function setRotation(object, r) {
  return object.matrix.set(r[0], r[1], r[2], 0, r[3], r[4], r[5], 0, r[6], r[7], r[8], 0, 0, 0, 0, 1);
}
