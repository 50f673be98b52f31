// The ground below the units: a ring with a tick each 10 degrees, and N E S W where an earth frame is known.

/* global THREE */

import {label} from "/app/label3d.js";
import {colour} from "/app/theme.js";

const LETTERS = [["N", 0, 1], ["E", 1, 0], ["S", 0, -1], ["W", -1, 0]];

export function compass(radius, isEarth) {
  const group = new THREE.Group();
  group.add(disc(radius), ticks(radius));
  if (!isEarth) return group;
  group.add(needle(radius));
  for (const [letter, east, north] of LETTERS) {
    const sign = label(letter, colour(letter === "N" ? "--north" : "--muted"), letter === "N" ? 0.46 : 0.36);
    sign.position.set(east * (radius + 0.3), north * (radius + 0.3), 0);
    group.add(sign);
  }
  return group;
}

function disc(radius) {
  const material = new THREE.MeshBasicMaterial(
    {color: colour("--ground"), transparent: true, opacity: 0.75, side: THREE.DoubleSide, depthWrite: false});
  const mesh = new THREE.Mesh(new THREE.CircleBufferGeometry(radius, 96), material);
  mesh.position.z = -0.01;
  return mesh;
}

function ticks(radius) {
  const points = [];
  const point = (angle, r) => points.push(new THREE.Vector3(r * Math.sin(angle), r * Math.cos(angle), 0));
  for (let degrees = 0; degrees < 360; degrees += 2) {
    point(degrees * Math.PI / 180, radius);
    point((degrees + 2) * Math.PI / 180, radius);
  }
  for (let degrees = 0; degrees < 360; degrees += 10) {
    const angle = degrees * Math.PI / 180;
    point(angle, radius);
    point(angle, radius * (degrees % 90 === 0 ? 0.8 : degrees % 30 === 0 ? 0.9 : 0.95));
  }
  return lines(points, "--ground-line");
}

function needle(radius) {
  const corners = [[0, 0.78], [0.06, 0.6], [-0.06, 0.6]];
  const tip = new THREE.Shape(corners.map(([x, y]) => new THREE.Vector2(x * radius, y * radius)));
  const material = new THREE.MeshBasicMaterial({color: colour("--north"), side: THREE.DoubleSide});
  const mesh = new THREE.Mesh(new THREE.ShapeBufferGeometry(tip), material);
  mesh.position.z = 0.002;
  return mesh;
}

export function lines(points, variable) {
  const geometry = new THREE.BufferGeometry().setFromPoints(points);
  return new THREE.LineSegments(geometry, new THREE.LineBasicMaterial({color: colour(variable)}));
}
