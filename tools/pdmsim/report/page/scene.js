// The picture: every face with vertices of its own, so that an element has one value and one colour.

const kNone = -3e38; // a vertex without a value
const kColours = ["#4e79a7", "#f28e2b", "#76b7b2", "#e15759", "#59a14f", "#b07aa1", "#edc948", "#ff9da7", "#9c755f", "#86bcb6"];
const kSetColours = ["#e6007e", "#00a3a3", "#8a2be2", "#d94801", "#2ca02c", "#1f4fd8"];
const kScale = ["#440154", "#482878", "#3e4a89", "#31688e", "#26828e", "#1f9e89", "#35b779", "#6ece58", "#b5de2b", "#fde725"];

const kVertex = `
attribute float value; attribute vec3 shift; attribute vec3 tint;
uniform float amount, phase, pointSize, nearer; uniform vec2 range, nudge;
varying vec3 vView, vTint; varying float vValue, vNone;
void main() {
  vec4 view = modelViewMatrix * vec4(position + shift * amount * phase, 1.0);
  vView = view.xyz; vTint = tint;
  vNone = value < -1e38 ? 1.0 : 0.0;
  vValue = vNone > 0.5 ? 0.0 : clamp((value - range.x) / max(range.y - range.x, 1e-37), 0.0, 1.0);
  gl_Position = projectionMatrix * view;
  gl_Position.xy += nudge * gl_Position.w;
  gl_Position.z -= nearer * gl_Position.w;
  gl_PointSize = pointSize;
}`;
const kFragment = `
uniform sampler2D scale; uniform bool byValue, shaded;
varying vec3 vView, vTint; varying float vValue, vNone;
void main() {
  vec3 colour = !byValue ? vTint : vNone > 0.001 ? vec3(0.6) : texture2D(scale, vec2(vValue, 0.5)).rgb;
  vec3 across = cross(dFdx(vView), dFdy(vView));
  float light = 1.0;
  if (shaded && dot(across, across) > 0.0) {
    vec3 normal = normalize(across);
    light = 0.5 + 0.5 * max(0.0, dot(normal * sign(normal.z), vec3(0.2, 0.5, 0.84)));
  }
  gl_FragColor = vec4(colour * light, 1.0);
}`;

// Colours of which as many as possible can be told apart: those of blocks, then darker and lighter ones.
function kindColours(count) {
  const clear = kColours.slice(0, 9), palette = [...clear], other = new THREE.Color();
  for (const [towards, share] of [["#000000", 0.4], ["#ffffff", 0.55]])
    palette.push(...clear.map(one => `#${new THREE.Color(one).lerp(other.set(towards), share).getHexString()}`));
  return Array.from({ length: count }, (_, i) => palette[i % palette.length]);
}

function kindTexture(colours) {
  const data = new Uint8Array(4 * colours.length), colour = new THREE.Color();
  colours.forEach((one, i) => { colour.set(one); data.set([colour.r * 255, colour.g * 255, colour.b * 255, 255], 4 * i); });
  const texture = new THREE.DataTexture(data, colours.length, 1, THREE.RGBAFormat);
  texture.needsUpdate = true;
  return texture;
}

function scaleTexture() {
  const data = new Uint8Array(256 * 4), a = new THREE.Color(), b = new THREE.Color();
  for (let i = 0; i < 256; ++i) {
    const at = i / 255 * (kScale.length - 1), left = Math.min(Math.floor(at), kScale.length - 2);
    a.set(kScale[left]).lerp(b.set(kScale[left + 1]), at - left);
    data.set([a.r * 255, a.g * 255, a.b * 255, 255], 4 * i);
  }
  const texture = new THREE.DataTexture(data, 256, 1, THREE.RGBAFormat);
  texture.minFilter = texture.magFilter = THREE.LinearFilter;
  texture.needsUpdate = true;
  return texture;
}

// Triangles, edges, lines and points over one pool of vertices.
class Shape {
  // groups: [{corners, count, nodes, ...}]; the vertices follow each other as the groups do.
  constructor(scene, groups, positions, shared, isSet) {
    this.groups = groups;
    this.scene = scene;
    let vertices = 0;
    for (const group of groups) {
      group.first = vertices;
      vertices += group.count * group.corners;
    }
    this.vertices = vertices;
    const floats = size => new THREE.BufferAttribute(new Float32Array(size * vertices), size);
    this.position = floats(3);
    this.value = floats(1);
    this.tint = new THREE.BufferAttribute(new Uint8Array(3 * vertices), 3, true);
    this.shift = null;
    this.spread(this.position.array, positions);
    const uniforms = (own) => ({ ...shared, pointSize: { value: 1 }, nearer: { value: isSet ? 2e-4 : 0 }, nudge: { value: new THREE.Vector2() }, ...own });
    const material = (own, more = {}) => new THREE.ShaderMaterial({
      vertexShader: kVertex, fragmentShader: kFragment, side: THREE.DoubleSide, uniforms: uniforms(own),
      extensions: { derivatives: true }, ...more });
    const byValue = isSet ? { value: false } : shared.byValue;
    const offset = amount => ({ polygonOffset: true, polygonOffsetFactor: amount, polygonOffsetUnits: amount });
    this.parts = {};
    const add = (name, Kind, own, more) => {
      const geometry = new THREE.BufferGeometry();
      geometry.setAttribute("position", this.position);
      geometry.setAttribute("value", this.value);
      geometry.setAttribute("tint", this.tint);
      const object = new Kind(geometry, material(own, more));
      object.frustumCulled = false;
      scene.add(object);
      (this.parts[name] = this.parts[name] || []).push(object);
    };
    add("faces", THREE.Mesh, { byValue, shaded: { value: true } }, offset(isSet ? 0 : 1));
    add("points", THREE.Points, { byValue, shaded: { value: false }, pointSize: { value: (isSet ? 7 : 4) * devicePixelRatio } });
    // Lines are one pixel wide everywhere: several beside each other are a wider one.
    for (const [x, y] of [[0, 0], [1, 0], [0, 1], [-1, 0], [0, -1]])
      add("lines", THREE.LineSegments, { byValue, shaded: { value: false }, nudge: { value: new THREE.Vector2(x, y) } });
    if (!isSet) add("edges", THREE.LineSegments, { byValue: { value: false }, shaded: { value: false }, edge: shared.edge });
    if (!isSet) this.parts.edges[0].material.fragmentShader = "uniform vec3 edge; void main() { gl_FragColor = vec4(edge, 1.0); }";
  }

  // Gives every vertex its node's numbers; planes [axis][node], NaN becomes `none`.
  spread(out, list, none = 0) {
    const width = list.length === 1 ? 1 : 3;
    let at = 0;
    for (const { nodes } of this.groups)
      for (let i = 0; i < nodes.length; ++i, at += width)
        for (let k = 0; k < list.length; ++k) {
          const value = list[k][nodes[i]];
          out[at + k] = value === value ? value : none;
        }
  }

  setShift(list) {
    if (!this.shift && !list) return;
    if (!this.shift) {
      this.shift = new THREE.BufferAttribute(new Float32Array(3 * this.vertices), 3);
      for (const part of Object.values(this.parts).flat()) part.geometry.setAttribute("shift", this.shift);
    }
    if (list) this.spread(this.shift.array, list.length === 1 ? [list[0], new Float32Array(list[0].length)] : list);
    else this.shift.array.fill(0);
    this.shift.needsUpdate = true;
  }

  setNodeValues(values) {
    this.spread(this.value.array, [values], kNone);
    this.value.needsUpdate = true;
  }

  // rows: of every face of every group, then of its other side.
  setFaceValues(rows, isShown) {
    let row = 0, at = 0;
    for (const group of this.groups) {
      const from = row + (group.other >= 0 && !isShown(group.block) ? group.count : 0);
      for (let face = 0; face < group.count; ++face) {
        const value = rows[from + face];
        this.value.array.fill(value === value ? value : kNone, at, at += group.corners);
      }
      row += group.count * (group.other >= 0 ? 2 : 1);
    }
    this.value.needsUpdate = true;
  }

  // Draws the groups of which `colourOf` gives a colour.
  show(colourOf, withEdges) {
    const index = { faces: [], points: [], lines: [], edges: [] }, size = { faces: 0, points: 0, lines: 0, edges: 0 };
    const seen = [];
    for (const group of this.groups) {
      const hue = colourOf(group), n = group.corners;
      if (!hue || !group.count) continue;
      const colour = new THREE.Color(hue), rgb = [colour.r, colour.g, colour.b].map(one => one * 255);
      for (let i = 3 * group.first, end = i + 3 * group.count * n; i < end; i += 3) this.tint.array.set(rgb, i);
      seen.push(group);
      size.points += n === 1 ? group.count : 0;
      size.lines += n === 2 ? 2 * group.count : 0;
      size.faces += n > 2 ? 3 * (n - 2) * group.count : 0;
      size.edges += n > 2 && withEdges ? 2 * n * group.count : 0;
    }
    for (const name in index) index[name] = new Uint32Array(size[name]);
    const at = { faces: 0, points: 0, lines: 0, edges: 0 };
    for (const { first, count, corners: n } of seen)
      for (let face = 0, v = first; face < count; ++face, v += n) {
        if (n === 1) index.points[at.points++] = v;
        if (n === 2) { index.lines[at.lines++] = v; index.lines[at.lines++] = v + 1; }
        for (let k = 2; k < n; ++k) {
          index.faces[at.faces++] = v; index.faces[at.faces++] = v + k - 1; index.faces[at.faces++] = v + k;
        }
        if (n > 2 && withEdges)
          for (let k = 0; k < n; ++k) { index.edges[at.edges++] = v + k; index.edges[at.edges++] = v + (k + 1) % n; }
      }
    this.tint.needsUpdate = true;
    for (const name in this.parts)
      for (const part of this.parts[name]) {
        part.geometry.setIndex(new THREE.BufferAttribute(index[name], 1));
        part.visible = index[name].length > 0;
      }
  }

  remove() {
    for (const part of Object.values(this.parts).flat()) {
      this.scene.remove(part);
      part.geometry.dispose();
      part.material.dispose();
    }
  }
}

// How one looks at it: an orthographic camera around a centre, up is z, or y in the plane.
class Look {
  constructor(canvas, middle, radius, isFlat) {
    Object.assign(this, { canvas, middle, radius });
    this.renderer = new THREE.WebGLRenderer({
      canvas, context: canvas.getContext("webgl2", { antialias: true, alpha: true }) });
    this.scene = new THREE.Scene();
    this.camera = new THREE.OrthographicCamera();
    this.whole();
    this.turnTo(...(isFlat ? [-90, 90] : [-60, 25]));
  }
  whole() { this.zoom = 1; this.centre = this.middle.clone(); this.redraw(); }
  // Degrees around the axis that is up, and above the ground.
  turnTo(around, above) { this.around = around; this.above = Math.max(-90, Math.min(90, above)); this.redraw(); }
  turn(around, above) { this.turnTo(this.around + around, this.above + above); }
  zoomBy(factor) { this.zoom = Math.max(0.05, Math.min(500, this.zoom * factor)); this.redraw(); }
  // In pixels.
  move(x, y) {
    const size = 2 * this.radius / this.zoom / Math.min(this.canvas.clientWidth, this.canvas.clientHeight);
    const m = this.camera.matrixWorld.elements;
    this.centre.addScaledVector(new THREE.Vector3(m[0], m[1], m[2]), -x * size);
    this.centre.addScaledVector(new THREE.Vector3(m[4], m[5], m[6]), y * size);
    this.redraw();
  }
  redraw() {
    if (this.asked) return;
    this.asked = true;
    requestAnimationFrame(() => { this.asked = false; this.draw(); });
  }
  draw() {
    const { canvas, camera, radius } = this, width = canvas.clientWidth, height = canvas.clientHeight;
    if (!width || !height) return;
    this.renderer.setPixelRatio(devicePixelRatio);
    this.renderer.setSize(width, height, false);
    const a = this.around * Math.PI / 180, b = this.above * Math.PI / 180;
    const to = new THREE.Vector3(Math.cos(b) * Math.cos(a), Math.cos(b) * Math.sin(a), Math.sin(b));
    const up = new THREE.Vector3(-Math.sin(b) * Math.cos(a), -Math.sin(b) * Math.sin(a), Math.cos(b));
    const right = new THREE.Vector3().crossVectors(up, to), eye = new THREE.Matrix4().makeBasis(right, up, to);
    camera.matrixAutoUpdate = false;
    camera.matrix.copy(eye).setPosition(this.centre.clone().addScaledVector(
      new THREE.Vector3().setFromMatrixColumn(eye, 2), 8 * radius));
    camera.updateMatrixWorld(true);
    const half = radius / this.zoom, x = half * Math.max(1, width / height), y = half * Math.max(1, height / width);
    Object.assign(camera, { left: -x, right: x, top: y, bottom: -y, near: 0, far: 16 * radius });
    camera.updateProjectionMatrix();
    this.scene.traverse(one => {
      if (one.nudgeBy === undefined && one.material) one.nudgeBy = one.material.uniforms.nudge.value.clone();
      if (one.material) one.material.uniforms.nudge.value.set(2 * one.nudgeBy.x / width, 2 * one.nudgeBy.y / height);
    });
    this.renderer.render(this.scene, camera);
    if (this.onDraw) this.onDraw(camera.matrixWorldInverse.elements);
  }
}
