// The graph as the server draws it, brought into the page: no links, no styles of its own, names in place of escapes.

const SVG = "http://www.w3.org/2000/svg";

/** @return {svg, filters: Map name -> g, outputs and inputs: Map "FILTER:PIN" -> g}; throws where it cannot be had. */
export async function loadGraph() {
  const response = await fetch("/graph.svg");
  if (!response.ok) throw new Error(`The graph cannot be had: ${response.status} ${await response.text()}`);
  const parsed = new DOMParser().parseFromString(await response.text(), "image/svg+xml");
  if (parsed.querySelector("parsererror")) throw new Error("The graph that the server sent is no SVG.");
  clean(parsed);
  const svg = document.importNode(parsed.documentElement, true);
  const filters = new Map(), outputs = new Map(), inputs = new Map();
  for (const group of svg.querySelectorAll("[id]")) {
    const [kind, ...names] = group.id.split(".").map(decodeURIComponent);
    if (kind === "filter") filters.set(names[0], group);
    if (kind === "pin") outputs.set(names.join(":"), group);
    if (kind === "input") inputs.set(names.join(":"), group);
  }
  return {svg, filters, outputs, inputs};
}

/** Style attributes are against the page's content security policy, links would leave the page, titles say what the page says better. */
function clean(parsed) {
  for (const styled of parsed.querySelectorAll("[style]")) styled.removeAttribute("style");
  for (const foreign of parsed.querySelectorAll("script, style, title, foreignObject")) foreign.remove();
  for (const link of [...parsed.querySelectorAll("a")]) {
    link.replaceWith(...link.childNodes);
  }
}

export function svgElement(name, attributes, ...children) {
  const made = document.createElementNS(SVG, name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.append(...children);
  return made;
}
