// What a page remembers over a reload. A browser may forbid it; then it is forgotten.

export function recall(storage, key) {
  try { return JSON.parse(window[storage].getItem(`kavelin.${key}`)); } catch { return null; }
}

export function remember(storage, key, value) {
  try { window[storage].setItem(`kavelin.${key}`, JSON.stringify(value)); } catch { /* forgotten */ }
}
