// Text in the picture: drawn on a canvas, always facing the camera.

/* global THREE */

/** A line of text, `height` high in units of the picture. */
export function label(text, colour, height) {
  const canvas = document.createElement("canvas");
  const context = canvas.getContext("2d");
  const font = "600 44px system-ui, sans-serif";
  context.font = font;
  canvas.width = Math.ceil(context.measureText(text).width) + 8;
  canvas.height = 64;
  context.font = font;
  context.fillStyle = colour;
  context.textAlign = "center";
  context.textBaseline = "middle";
  context.fillText(text, canvas.width / 2, 33);
  const texture = new THREE.CanvasTexture(canvas);
  texture.minFilter = THREE.LinearFilter;
  texture.generateMipmaps = false;
  const sprite = new THREE.Sprite(new THREE.SpriteMaterial({map: texture, transparent: true, depthWrite: false}));
  sprite.renderOrder = 1;  // over the ground, which is translucent
  sprite.scale.set(height * canvas.width / canvas.height, height, 1);
  return sprite;
}

/** Frees what the graphics card holds of it. */
export function dispose(object) {
  object.traverse(part => {
    part.geometry?.dispose();
    part.material?.map?.dispose();
    part.material?.dispose();
  });
}
