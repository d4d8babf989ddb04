// What the page keeps as base64 of zlib's format, as numbers again.

const texts = document.getElementsByClassName("text");

async function bytesOf(place) {
  const text = atob(texts[place].textContent);
  const packed = new Uint8Array(text.length);
  for (let i = 0; i < text.length; ++i) packed[i] = text.charCodeAt(i);
  const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream("deflate"));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

// Each number of a text of 7 bits in a byte, the lowest first.
function varints(bytes, count) {
  const out = new Uint32Array(count);
  for (let i = 0, at = 0; i < count; ++i) {
    let shift = 0, byte;
    do {
      byte = bytes[at++];
      out[i] |= (byte & 127) << shift;
      shift += 7;
    } while (byte & 128);
  }
  return out;
}

// Corners as places in the coordinates: groups must come in the order in which they were packed.
class Corners {
  constructor() { this.next = 0; }
  async read(group) {
    const nodes = varints(await bytesOf(group.nodes), group.count * group.corners);
    for (let i = 0; i < nodes.length; ++i) {
      const back = nodes[i];
      nodes[i] = this.next - back;
      if (back === 0) ++this.next;
    }
    return nodes;
  }
}

async function ascending(place, count) {
  const numbers = varints(await bytesOf(place), count);
  for (let i = 1; i < count; ++i) numbers[i] += numbers[i - 1];
  return numbers;
}

// NaN where there is no number.
async function plane(one) {
  const bytes = await bytesOf(one.text), count = bytes.length / 2, out = new Float32Array(count);
  const scale = (one.greatest - one.least) / 65534;
  for (let i = 0, here = 0; i < count; ++i) {
    here = (here + bytes[i] + 256 * bytes[count + i]) & 65535;
    out[i] = here === 65535 ? NaN : one.least + here * scale;
  }
  return out;
}

const planes = list => Promise.all(list.map(plane));

function magnitude(list) {
  const out = new Float32Array(list[0].length);
  for (let i = 0; i < out.length; ++i) {
    let sum = 0;
    for (const one of list) sum += one[i] * one[i];
    out[i] = Math.sqrt(sum);
  }
  return out;
}

function number(value) {
  if (value === null || Number.isNaN(value)) return "–";
  return String(Number(value.toPrecision(6)));
}
