// Earth frames by their text: "sensor to earth (east, north, up)". The picture itself is drawn with x east, y north, z up.

const DIRECTIONS = {
  east: [1, 0, 0], west: [-1, 0, 0], north: [0, 1, 0], south: [0, -1, 0], up: [0, 0, 1], down: [0, 0, -1]
};

/**
 * {axes, toWorld}: the directions of the frame's x, y and z, and the rotation from the frame to the picture; null where the text
 * names none.
 */
export function earthFrame(text) {
  const match = /\((\w+), (\w+), (\w+)\)/.exec(text ?? "");
  if (!match) return null;
  const axes = match.slice(1, 4);
  const columns = axes.map(axis => DIRECTIONS[axis]);
  if (columns.includes(undefined)) return null;
  return {axes, toWorld: [0, 1, 2].flatMap(row => columns.map(column => column[row]))};
}

export const describeAxes = axes => `x ${axes[0]}, y ${axes[1]}, z ${axes[2]}`;
