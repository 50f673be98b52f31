// Light or dark: as the system has it, or as chosen. What is drawn on a canvas asks here for the colours of the style sheet.

import {recall, remember} from "/app/memory.js";

const KEY = "colours";
const listeners = [];
const probe = document.createElement("span");
probe.hidden = true;

/** The colour of a variable of the style sheet, as canvases and WebGL take it: "rgb(r, g, b)". */
export function colour(variable) {
  if (!probe.isConnected) document.body.append(probe);
  probe.style.color = `var(${variable})`;
  return getComputedStyle(probe).color;
}

export const onThemeChange = listener => listeners.push(listener);

export function startTheme(select) {
  select.value = recall("localStorage", KEY) ?? "auto";
  const apply = () => {
    document.documentElement.dataset.colours = select.value;
    for (const listener of listeners) listener();
  };
  select.addEventListener("change", () => { remember("localStorage", KEY, select.value); apply(); });
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", apply);
  apply();
}
