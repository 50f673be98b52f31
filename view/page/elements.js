// Elements of the page, made in one call.

export function element(name, attributes = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) {
    if (value === true) made.setAttribute(key, "");
    else if (value !== false && value !== undefined) made.setAttribute(key, value);
  }
  made.append(...children);
  return made;
}

/** Check boxes of a menu.  choices: [{id, text, isChosen}]; onChange(id, isChosen). */
export function listOfChoices(choices, onChange) {
  return choices.map(({id, text, isChosen}) => {
    const box = element("input", {type: "checkbox", value: id});
    box.checked = isChosen;
    box.addEventListener("change", () => onChange(id, box.checked));
    return element("li", {}, element("label", {}, box, ` ${text}`));
  });
}

/** The options of a select, replaced; what was chosen stays chosen, where it still is there. */
export function setOptions(select, options, chosen = select.value) {
  select.replaceChildren(...options.map(({value, text}) => element("option", {value}, text)));
  if (options.some(option => option.value === chosen)) select.value = chosen;
}

/** Menus close by Esc and by a click elsewhere. */
export function closeMenus() {
  const close = except => document.querySelectorAll("details.menu[open]").forEach(menu => menu !== except && menu.removeAttribute("open"));
  addEventListener("click", event => close(event.target.closest("details.menu")));
  addEventListener("keydown", event => {
    const menu = event.key === "Escape" ? event.target.closest?.("details.menu[open]") : null;
    if (!menu) return;
    menu.querySelector("summary").focus();
    close(null);
  });
}
