// A unit as it is drawn: a box, long in x and flat in z, a mark on its top that points to its front (x), and its three axes.

/* global THREE */

import {label} from "/app/label3d.js";
import {colour} from "/app/theme.js";

const SIZE = [1.3, 0.85, 0.28];
const AXIS = {length: 1.0, x: "--axis-x", y: "--axis-y", z: "--axis-z"};

export function unitBody() {
  const unit = new THREE.Group();
  unit.add(box({color: colour("--unit")}), edges(1), topMark(colour("--unit-mark")));
  unit.add(axis("x", [1, 0, 0]), axis("y", [0, 1, 0]), axis("z", [0, 0, 1]));
  return unit;
}

/** The reference: the same box, translucent, without axes. A little larger, so that it is seen where both agree. */
export function ghostBody() {
  const ghost = new THREE.Group();
  const body = box({color: colour("--ghost"), transparent: true, opacity: 0.22, depthWrite: false});
  ghost.add(body, edges(0.65, "--ghost"), topMark(colour("--ghost"), 0.35));
  for (const part of ghost.children) part.scale.multiplyScalar(1.06);
  return ghost;
}

function box(material) {
  return new THREE.Mesh(new THREE.BoxBufferGeometry(...SIZE), new THREE.MeshLambertMaterial(material));
}

function edges(opacity, variable = "--unit-edge") {
  const outline = new THREE.EdgesGeometry(new THREE.BoxBufferGeometry(...SIZE));
  return new THREE.LineSegments(outline, new THREE.LineBasicMaterial({color: colour(variable), transparent: opacity < 1, opacity}));
}

function topMark(color, opacity = 1) {
  const arrow = new THREE.Shape([[0.5, 0], [0.2, 0.24], [0.2, 0.09], [-0.45, 0.09], [-0.45, -0.09], [0.2, -0.09], [0.2, -0.24]]
    .map(([x, y]) => new THREE.Vector2(x, y)));
  const mark = new THREE.Mesh(new THREE.ShapeBufferGeometry(arrow),
    new THREE.MeshBasicMaterial({color, transparent: opacity < 1, opacity, depthWrite: opacity === 1, side: THREE.DoubleSide}));
  mark.position.z = SIZE[2] / 2 + 0.005;
  return mark;
}

function axis(name, direction) {
  const group = new THREE.Group();
  const color = colour(AXIS[name]);
  const along = new THREE.Vector3(...direction);
  const material = new THREE.MeshLambertMaterial({color});
  const shaft = new THREE.Mesh(new THREE.CylinderBufferGeometry(0.025, 0.025, AXIS.length, 12), material);
  shaft.position.y = AXIS.length / 2;
  const head = new THREE.Mesh(new THREE.ConeBufferGeometry(0.07, 0.2, 16), material);
  head.position.y = AXIS.length + 0.1;
  const arrow = new THREE.Group();  // cylinders and cones stand along y
  arrow.add(shaft, head);
  arrow.quaternion.setFromUnitVectors(new THREE.Vector3(0, 1, 0), along);
  const letter = label(name, color, 0.3);
  letter.position.copy(along).multiplyScalar(AXIS.length + 0.34);
  group.add(arrow, letter);
  return group;
}
