// The controls: each changes what is shown, then the picture and the words beside it follow.

const element = id => document.getElementById(id);
const isCalm = matchMedia("(prefers-reduced-motion: reduce)");

function option(value, text, parent) {
  const made = new Option(text, value);
  parent.append(made);
  return made;
}

// A box with a label, in a list.
function box(list, text, colour, checked, change) {
  const label = document.createElement("label"), input = document.createElement("input");
  input.type = "checkbox";
  input.checked = checked;
  const swatch = document.createElement("span");
  swatch.className = "swatch";
  swatch.style.background = colour;
  label.append(input, " ", swatch, text);
  list.append(label);
  input.addEventListener("change", () => change(input.checked));
  return input;
}

const named = (one, what) => one.name || `${what} ${one.id}`;

class Page {
  constructor(about) {
    this.about = about;
    this.blocks = about.blocks.map(() => true);
    this.sets = new Map(); // what is shown of them, by place
    this.cache = new Map();
    this.playing = null;
  }

  async start() {
    const { about } = this, corners = new Corners();
    for (const group of about.faces) group.nodes = await corners.read(group);
    for (const set of about.sets)
      for (const group of set.groups || []) group.nodes = await corners.read(group);
    this.positions = (await planes(about.coordinates));
    while (this.positions.length < 3) this.positions.push(new Float32Array(this.positions[0].length));
    const least = new THREE.Vector3(), most = new THREE.Vector3();
    about.coordinates.forEach((one, k) => {
      least.setComponent(k, one.least || 0);
      most.setComponent(k, one.greatest || 0);
    });
    this.radius = Math.max(most.distanceTo(least) / 2, 1e-30) * 1.05;
    element("view").hidden = false;
    this.look = new Look(element("canvas"), most.clone().add(least).multiplyScalar(0.5), this.radius, about.dimension < 3);
    this.scale = scaleTexture();
    this.shared = {
      amount: { value: 0 }, phase: { value: 1 }, range: { value: new THREE.Vector2(0, 1) }, byValue: { value: false },
      scale: { value: this.scale }, edge: { value: new THREE.Color() } };
    this.shape = new Shape(this.look.scene, about.faces, this.positions, this.shared, false);
    element("edges").checked = this.shape.vertices < 1e6;
    this.fillLists();
    this.connect();
    this.theme();
    this.showBlocks();
    await this.recolour();
  }

  fillLists() {
    const { about } = this;
    about.blocks.forEach((block, k) => {
      block.box = box(element("block-list"), `${named(block, "block")} (${block.elements} ${block.type})`,
        kColours[k % kColours.length], true, on => { this.blocks[k] = on; this.showBlocks(); this.recolour(); });
    });
    about.sets.forEach((set, k) => {
      if (set.groups || set.faces)
        box(element("set-list"), `${named(set, set.kind)} (${set.kind} of ${set.size})`, this.setColour(k), false,
          on => this.showSet(k, on));
    });
    element("sets").hidden = !element("set-list").children.length;
    option("", "Blocks", element("field"));
    about.fields.forEach((field, k) => option(k, field.name + (field.unit ? ` [${field.unit}]` : ""), element("field")));
    option("", "Nothing", element("deform"));
    about.fields.forEach((field, k) => { if (field.vector) option(`f${k}`, field.name, element("deform")); });
    about.modal.forEach((system, s) => {
      const group = document.createElement("optgroup");
      group.label = system.name;
      system.shapes.forEach((shape, m) => { if (shape) option(`m${s}.${m}`, system.titles[m], group); });
      if (group.children.length) element("deform").append(group);
    });
    this.hasShapes = about.modal.some(system => system.shapes.some(shape => shape));
    if (this.hasShapes) option("mode", "Displacement of the mode", element("field"));
    element("play-mode").hidden = !this.hasShapes;
    element("deforming").hidden = element("deform").options.length < 2;
    const steps = about.fields.some(field => !field.constant) ? about.kept.length : 0;
    element("stepping").hidden = steps < 2;
    element("step").max = Math.max(0, steps - 1);
    element("step").value = Math.max(0, steps - 1);
  }

  connect() {
    const on = (id, event, act) => element(id).addEventListener(event, act);
    on("field", "change", () => this.chooseField());
    on("component", "change", () => this.recolour());
    on("step", "input", () => this.recolour());
    on("deform", "change", () => this.chooseDeformation());
    on("amount", "input", () => this.deform());
    on("edges", "change", () => this.showBlocks());
    on("play-steps", "click", () => this.play("play-steps"));
    on("play-mode", "click", () => this.play("play-mode"));
    for (const [id, state] of [["blocks-all", true], ["blocks-none", false]])
      on(id, "click", () => {
        this.blocks.fill(state);
        for (const block of this.about.blocks) block.box.checked = state;
        this.showBlocks();
        this.recolour();
      });
    const { look } = this;
    on("view-whole", "click", () => look.whole());
    on("view-front", "click", () => look.turnTo(-90, 0));
    on("view-side", "click", () => look.turnTo(0, 0));
    on("view-top", "click", () => look.turnTo(-90, 90));
    on("view-oblique", "click", () => look.turnTo(-60, 25));
    on("view-nearer", "click", () => look.zoomBy(1.2));
    on("view-farther", "click", () => look.zoomBy(1 / 1.2));
    on("controls", "submit", event => event.preventDefault());
    turnByKeys(look);
    turnByPointers(look);
    look.onDraw = m => this.drawAxes(m);
    new ResizeObserver(() => look.redraw()).observe(element("stage"));
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.theme());
  }

  theme() {
    this.shared.edge.value.set(getComputedStyle(document.documentElement).getPropertyValue("--edge").trim());
    this.look.redraw();
  }

  setColour(k) { return kSetColours[k % kSetColours.length]; }
  colourOf(group) {
    const own = this.blocks[group.block], other = group.other >= 0 && this.blocks[group.other];
    const seen = own !== other; // with no other block: when its own is shown
    return seen ? kColours[(own ? group.block : group.other) % kColours.length] : null;
  }

  showBlocks() {
    this.shape.show(group => this.colourOf(group), element("edges").checked);
    this.tell();
    this.look.redraw();
  }

  async showSet(k, on) {
    if (on) {
      const set = this.about.sets[k];
      const groups = set.groups || await this.facesOf(set.faces);
      const shape = new Shape(this.look.scene, groups, this.positions, this.shared, true);
      shape.show(() => this.setColour(k), false);
      this.sets.set(k, shape);
      shape.setShift(this.shift);
    } else if (this.sets.has(k)) {
      this.sets.get(k).remove();
      this.sets.delete(k);
    }
    this.tell();
    this.look.redraw();
  }

  // An element set's faces, by number of corners.
  async facesOf(faces) {
    const places = await ascending(faces.places, faces.count), found = [];
    let first = 0, at = 0;
    for (const { count, corners, nodes } of this.about.faces) {
      const own = [];
      for (; at < places.length && places[at] < first + count; ++at)
        for (let i = 0; i < corners; ++i) own.push(nodes[(places[at] - first) * corners + i]);
      first += count;
      found.push({ corners, count: own.length / corners, nodes: Uint32Array.from(own) });
    }
    return found;
  }

  get step() { return Number(element("step").value); }
  stepOf(field) { return field.constant ? 0 : Math.min(this.step, field.steps.length - 1); }

  // Numbers of one component of a field, or its magnitude; the last few are kept.
  async values(list, component) {
    const key = `${list[0].text}.${component}`;
    if (!this.cache.has(key)) {
      const numbers = list.length === 1 ? await plane(list[0])
        : component === "" ? magnitude(await planes(list)) : await plane(list[component]);
      if (this.cache.size > 40) this.cache.delete(this.cache.keys().next().value);
      this.cache.set(key, numbers);
    }
    return this.cache.get(key);
  }

  async rangeOf(lists, component) {
    let least = Infinity, greatest = -Infinity;
    for (const list of lists) {
      if (!list) continue;
      if (list.length === 1 || component !== "") {
        const one = list[list.length === 1 ? 0 : component];
        if (one.least !== null) [least, greatest] = [Math.min(least, one.least), Math.max(greatest, one.greatest)];
      } else {
        for (const value of await this.values(list, ""))
          if (value === value) { if (value < least) least = value; if (value > greatest) greatest = value; }
      }
    }
    return least <= greatest ? [least, greatest] : [NaN, NaN];
  }

  async chooseField() {
    const chosen = element("field").value, list = element("component");
    const field = chosen === "" || chosen === "mode" ? null : this.about.fields[chosen];
    list.replaceChildren();
    if (field && field.components.length) {
      option("", "Magnitude", list);
      field.components.forEach((name, k) => option(k, name, list));
    }
    list.disabled = list.hidden = element("component-label").hidden = !list.options.length;
    await this.recolour();
  }

  // What the colours are of: {title, lists by step, now, nodes}; null for blocks.
  source() {
    const chosen = element("field").value, { about } = this;
    if (chosen === "") return null;
    if (chosen === "mode") {
      const mode = this.mode();
      return mode && { title: `${mode.title}, ${mode.unit ? mode.unit : "magnitude"}`, lists: [mode.shape], now: mode.shape, nodes: true, component: "" };
    }
    const field = about.fields[chosen], component = element("component").value;
    const part = !field.components.length ? "" : component === "" ? ", magnitude" : `, ${field.components[component]}`;
    return { title: field.name + part + (field.unit ? ` [${field.unit}]` : ""), lists: field.steps,
      now: field.steps[this.stepOf(field)], nodes: field.nodes, kinds: field.kinds, component: component === "" ? "" : Number(component) };
  }

  mode() {
    const found = /^m(\d+)\.(\d+)$/.exec(element("deform").value);
    if (!found) return null;
    const system = this.about.modal[found[1]];
    return { title: system.titles[found[2]], unit: system.unit, shape: system.shapes[found[2]] };
  }

  async recolour() {
    const asked = this.asked = {}, source = this.source();
    const has = source && source.now, values = has && await this.values(source.now, source.component);
    const kinds = has && source.kinds && source.kinds.length ? source.kinds : null;
    const range = kinds ? [-0.5, kinds.length - 0.5] : has ? await this.rangeOf(source.lists, source.component) : [0, 1];
    if (asked !== this.asked) return; // another one came in between
    if (has && source.nodes) this.shape.setNodeValues(values);
    else if (has) this.shape.setFaceValues(values, block => this.blocks[block]);
    this.shared.byValue.value = Boolean(has);
    this.shared.range.value.set(range[0] || 0, range[1] || 0);
    if (this.shared.scale.value !== this.scale) this.shared.scale.value.dispose();
    this.shared.scale.value = kinds ? kindTexture(kindColours(kinds.length)) : this.scale;
    element("bar").hidden = !has;
    element("bar-scale").hidden = Boolean(kinds);
    this.nameKinds(kinds || []);
    if (has) {
      element("bar-title").textContent = source.title;
      element("bar-colours").style.background = `linear-gradient(to right, ${kScale.join(", ")})`;
      element("bar-least").textContent = number(range[0]);
      element("bar-greatest").textContent = number(range[1]);
    }
    this.title = kinds ? `${source.title}, ${kinds.length} different ones` : has ? `${source.title} from ${number(range[0])} to ${number(range[1])}` : "block";
    if (!this.mode()) await this.deform();
    this.tell();
    this.look.redraw();
  }

  // The legend of a field that tells few kinds apart.
  nameKinds(kinds) {
    const most = 24, colours = kindColours(kinds.length), list = element("bar-kinds");
    list.replaceChildren(...kinds.slice(0, kinds.length > most ? most - 1 : most).map((kind, k) => {
      const entry = document.createElement("span"), swatch = document.createElement("span");
      swatch.className = "swatch";
      swatch.style.background = colours[k];
      entry.append(swatch, String(kind));
      return entry;
    }));
    if (kinds.length > most) list.append(`… ${kinds.length - most + 1} more`);
  }

  async chooseDeformation() {
    if (this.mode() && element("field").value === "" && this.hasShapes) element("field").value = "mode";
    if (!this.mode() && element("field").value === "mode") element("field").value = "";
    element("component").replaceChildren();
    element("play-mode").disabled = !this.mode();
    if (!this.mode() && this.playing === "play-mode") this.play("play-mode");
    element("amount").value = 1;
    await this.chooseField();
    await this.deform();
  }

  // The largest displacement of all steps is a tenth of the mesh, times the amount that is chosen.
  async deform() {
    const chosen = element("deform").value, mode = this.mode();
    const field = chosen[0] === "f" ? this.about.fields[chosen.slice(1)] : null;
    const list = mode ? mode.shape : field ? field.steps[this.stepOf(field)] : null;
    if (list !== this.deformedBy) {
      this.deformedBy = list;
      const shift = list && await planes(list);
      if (list !== this.deformedBy) return; // another one came in between
      this.shift = shift;
      for (const shape of [this.shape, ...this.sets.values()]) shape.setShift(this.shift);
    }
    let most = 0;
    for (const one of (mode ? [mode.shape] : field ? field.steps : []).flat())
      if (one) most = Math.max(most, Math.abs(one.least || 0), Math.abs(one.greatest || 0));
    const factor = most > 0 ? 0.2 * this.radius / most * Number(element("amount").value) : 0;
    this.shared.amount.value = factor;
    element("amount-text").textContent = list ? `${number(Number(factor.toPrecision(3)))} times` : "";
    this.look.redraw();
  }

  // Steps go on, or a mode swings; pressed again, they stop. With less motion asked for: a picture a second.
  play(button) {
    const before = this.playing;
    this.playing = before === button ? null : button;
    for (const id of ["play-steps", "play-mode"]) {
      element(id).setAttribute("aria-pressed", String(this.playing === id));
      element(id).textContent = (this.playing === id ? "Pause " : "Play ") + id.slice(5);
    }
    this.shared.phase.value = 1;
    this.look.redraw();
    if (this.playing) this.run(this.playing);
    else this.tell(); // which was silent while steps went on
  }

  async run(button) {
    const token = this.running = {}, begin = performance.now(), pause = isCalm.matches ? 1000 : 1000 / 8;
    const input = element("step");
    while (this.running === token && this.playing === button) {
      if (button === "play-steps") {
        input.value = this.step < Number(input.max) ? this.step + 1 : 0;
        await this.recolour();
        await new Promise(done => setTimeout(done, pause));
      } else {
        const turns = (performance.now() - begin) / 1500;
        this.shared.phase.value = isCalm.matches ? (turns / 2 % 1 < 0.5 ? 1 : -1) : Math.cos(2 * Math.PI * turns);
        this.look.redraw();
        await new Promise(requestAnimationFrame);
      }
    }
  }

  tell() {
    const shown = this.blocks.filter(Boolean).length, { kept, times } = this.about, step = this.step;
    const at = kept.length && !element("stepping").hidden
      ? `step ${kept[step] + 1} of ${times.length}, time ${number(times[kept[step]])}` : "";
    element("step-text").textContent = at;
    element("step").setAttribute("aria-valuetext", at);
    const sets = [...this.sets.keys()].map(k => named(this.about.sets[k], this.about.sets[k].kind));
    const text = `${shown} of ${this.blocks.length} blocks shown` + (sets.length ? `, with ${sets.join(", ")}` : "") +
      `, coloured by ${this.title || "block"}` + (at && this.shared.byValue.value ? `, ${at}` : "") + ".";
    if (this.playing !== "play-steps") element("state").textContent = text;
  }

  drawAxes(m) {
    const names = this.about.axes, svg = element("axes"), parts = [];
    svg.replaceChildren();
    names.forEach((name, k) => {
      const x = 30 * m[4 * k], y = -30 * m[4 * k + 1], make = kind => document.createElementNS("http://www.w3.org/2000/svg", kind);
      const line = make("line"), text = make("text");
      for (const [key, value] of Object.entries({ x1: 0, y1: 0, x2: x, y2: y, stroke: ["#d62728", "#2ca02c", "#1f77b4"][k] }))
        line.setAttribute(key, value);
      text.setAttribute("x", 1.35 * x);
      text.setAttribute("y", 1.35 * y);
      text.textContent = name.length < 4 ? name : "xyz"[k];
      parts.push(line, text);
    });
    svg.append(...parts);
  }
}

async function main() {
  const about = JSON.parse(element("about").textContent);
  try {
    if (about.coordinates) {
      window.page = new Page(about);
      await window.page.start();
    }
  } catch (error) {
    element("trouble").hidden = false;
    element("trouble").textContent = `The mesh cannot be drawn here: this browser lacks what is needed (${error.message}).`;
  }
  document.documentElement.dataset.ready = "yes";
}
main();
