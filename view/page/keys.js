// Keys that work everywhere but in fields, and the list of them.

import {element} from "/app/elements.js";

const INTERACTIVE = "input, select, textarea, button, summary, a, [role=button]";

/** keys: [{key, name, about, act}]. */
export function startKeys(keys, dialog, list) {
  list.replaceChildren(...keys.flatMap(({name, about}) => [element("dt", {}, element("kbd", {}, name)), element("dd", {}, about)]));
  addEventListener("keydown", event => {
    if (event.ctrlKey || event.metaKey || event.altKey || dialog.open) return;
    if (event.target.matches?.("input:not([type=checkbox]), select, textarea")) return;
    if (event.key === " " && event.target.matches?.(INTERACTIVE)) return;  // a button's own key
    const found = keys.find(({key}) => key === event.key);
    if (!found) return;
    event.preventDefault();
    found.act();
  });
}
