// Light or dark: as the system has it, or as chosen. What is drawn on a canvas asks here for the colours of the style sheet.

const KEY = "kavelin.colours";
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
  select.value = recall() ?? "auto";
  const apply = () => {
    document.documentElement.dataset.colours = select.value;
    for (const listener of listeners) listener();
  };
  select.addEventListener("change", () => { remember(select.value); apply(); });
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", apply);
  apply();
}

// A browser may forbid storage; then the choice lasts as long as the page.
function recall() {
  try { return localStorage.getItem(KEY); } catch { return null; }
}

function remember(value) {
  try { localStorage.setItem(KEY, value); } catch { /* not kept */ }
}
