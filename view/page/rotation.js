// Rotations as nine numbers, row by row. Quaternions are w, x, y, z (Hamilton).

export const IDENTITY = [1, 0, 0, 0, 1, 0, 0, 0, 1];
export const DEGREES = 180 / Math.PI;

/** The rotation that a sample carries (3x3, or a quaternion of four elements); null for anything else, and for what is no rotation. */
export function rotationOf(sample) {
  const v = sample.v;
  if (!v.every(Number.isFinite)) return null;
  if (sample.rows === 3 && sample.cols === 3) return isRotation(v) ? v : null;
  return v.length === 4 ? ofQuaternion(v) : null;
}

function ofQuaternion(q) {
  const norm = Math.hypot(...q);
  if (norm < 1e-6) return null;
  const [w, x, y, z] = q.map(element => element / norm);
  return [1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y),
          2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x),
          2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)];
}

/** To a thousandth: an estimator's matrix may be slightly off, zeros before its first result are not one. */
function isRotation(r) {
  const product = multiply(r, transpose(r));
  return determinant(r) > 0 && product.every((element, i) => Math.abs(element - IDENTITY[i]) < 1e-3);
}

export function multiply(a, b) {
  return IDENTITY.map((_, i) => {
    const row = 3 * Math.floor(i / 3), column = i % 3;
    return a[row] * b[column] + a[row + 1] * b[column + 3] + a[row + 2] * b[column + 6];
  });
}

export const transpose = r => [r[0], r[3], r[6], r[1], r[4], r[7], r[2], r[5], r[8]];

const determinant = r => r[0] * (r[4] * r[8] - r[5] * r[7]) - r[1] * (r[3] * r[8] - r[5] * r[6]) + r[2] * (r[3] * r[7] - r[4] * r[6]);

/** Yaw, pitch, roll in degrees: intrinsic turns about z, y, x. */
export function eulerAngles(r) {
  const pitch = Math.asin(Math.max(-1, Math.min(1, -r[6])));
  return [Math.atan2(r[3], r[0]), pitch, Math.atan2(r[7], r[8])].map(angle => angle * DEGREES);
}

/** The angle of the whole rotation, degrees. */
export const rotationAngle = r => Math.acos(Math.max(-1, Math.min(1, (r[0] + r[4] + r[8] - 1) / 2))) * DEGREES;
