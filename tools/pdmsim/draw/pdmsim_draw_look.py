"""What pictures have in common, whoever draws them: colours, titles, lengths, the camera."""

import json
import math

BACKGROUND, BODY, PICKED, LINES, MISSING = "#ffffff", "#d3d8de", "#d1495b", "#2b2f36", "#a9aeb5"
BLOCKS = ["#4e79a7", "#f28e2b", "#76b7b2", "#edc948", "#b07aa1", "#59a14f", "#9c755f", "#ff9da7", "#86bcb6", "#bab0ac"]
SCALE = ["#440154", "#482878", "#3e4989", "#31688e", "#26828e", "#1f9e89", "#35b779", "#6ece58", "#b5de2b", "#fde725"]
MOST_KINDS, MOST_PARTS, MOST_NAMED = 64, 4096, 24  # different integers with colours of their own; those in the legend
MANY_EDGES = 40000  # faces; beyond, their edges would cover everything
EYE, UP = (0.55, -0.72, 0.42), (0, 0, 1)  # where the camera stands, of solids


def rgb(text):
    return tuple(int(text[i : i + 2], 16) / 255 for i in (1, 3, 5))


def round_length(most):
    """The greatest of 1, 2 and 5 times a power of ten that is not more."""
    power = 10.0 ** math.floor(math.log10(most))
    return next(f * power for f in (5, 2, 1) if f * power <= most * (1 + 1e-9))


def title(job):
    if "mode" in job:
        what = f"{job['mode']['title']} of {job['mode']['system'] or 'the only system'}"
    else:
        what = job["shows"].replace("block", "blocks", 1) if job["shows"] == "block" else job["shows"]
    when = f", step {job['step']} (time {job['time']:.6g})" if "time" in job and "mode" not in job else ""
    return f"{job['file']}: {what}{when}"


def name_of(job):
    """What the colours mean, with the unit."""
    name = "displacement" if "mode" in job else job["shows"].split("/", 1)[-1]
    if "mode" not in job and job.get("component") is not None:
        name += f"[{job['component']}]"
    return f"{name} [{job['unit']}]" if job["unit"] else name


def many_colours(count):
    """Colours of which as many as possible can be told apart."""
    def mixed(colour, other, share):
        return "#" + "".join(f"{round(255 * (a + share * (b - a))):02x}" for a, b in zip(rgb(colour), rgb(other)))

    clear = BLOCKS[:8] + ["#e15759"] + BLOCKS[9:]  # instead of a second shade of one that is there
    palette = clear + [mixed(c, "#000000", 0.4) for c in clear] + [mixed(c, "#ffffff", 0.55) for c in clear]
    return [palette[i % len(palette)] for i in range(count)]


def tell(job, result):
    with open(job["result"], "w", encoding="utf-8") as file:
        json.dump(result, file)


class Look:
    """What an array is drawn as."""
    def __init__(self, job, values, numpy):
        np = self.np = numpy
        self.job, self.kind = job, job["shows"].split("/")[0]
        self.is_set = self.kind in ("nodeSets", "elementSets", "regionSets", "surfaces")
        self.is_block = job["shows"] == "block"
        self.on_points = job["array"].startswith("Point")
        component = job.get("component")
        if job.get("block") is not None:
            values = values == job["block"]
        if values.ndim == 2:
            values = (values[:, component] if component is not None else
                      np.linalg.norm(values, axis=1) if values.shape[1] in (2, 3) else values[:, 0])
        self.values = np.asarray(values, float)
        if self.is_block:
            order = {b["id"]: i for i, b in enumerate(job["blocks"])}
            self.values = np.array([order.get(int(v), 0) for v in values], float)
        known = self.values[np.isfinite(self.values)]
        self.known = known.size
        self.note = "no values here" if not known.size else "grey: no values" if known.size < len(self.values) else ""
        self.low, self.high = (float(known.min()), float(known.max())) if known.size else (0.0, 1.0)
        self.range, self.kinds = (self.low, self.high), self.kinds_of(values)
        if self.kinds is not None:
            self.values = np.searchsorted(self.kinds, values).astype(float)
        self.by_name = self.is_set or self.is_block or self.kinds is not None
        if self.by_name:
            self.low, self.high = -0.5, len(self.colours()) - 0.5

    def kinds_of(self, values):
        """The different numbers of a field of integers on elements that tells few kinds of them apart, such as parts or
        materials; None of any other."""
        if self.is_set or self.is_block or self.on_points or values.ndim != 1 or values.dtype.kind not in "iu":
            return None
        kinds = self.np.unique(values)
        parts = len(kinds) <= min(MOST_PARTS, len(values) // 8) and kinds[0] == 0 and kinds[-1] == len(kinds) - 1
        return kinds if 0 < len(kinds) < len(values) and (parts or len(kinds) <= MOST_KINDS) else None

    def tell(self, by):
        """Says to who asked for the picture what is in it."""
        of_set = int(self.values.sum()) if self.is_set else None
        low, high = self.range if self.known and not self.is_set and not self.is_block else (None, None)
        tell(self.job, {"by": by, "min": low, "max": high, "members": of_set, "values": self.known,
                        "missing": len(self.values) - self.known})

    def colours(self):
        if self.is_set:
            return [BODY, PICKED]
        if self.kinds is not None:
            return many_colours(len(self.kinds))
        return [BLOCKS[i % len(BLOCKS)] for i in range(len(self.job["blocks"]))] if self.is_block else SCALE

    def legend(self):
        """Colours and their names, of what has no scale."""
        if self.is_set:
            name = self.job["shows"].split("/", 1)[1]
            return [(PICKED, f"elements at {name}" if self.kind == "surfaces" else name)]
        height = int(self.job["size"].split("x")[1])
        most = max(2, min(12 if self.is_block else MOST_NAMED, (height - 110) // 26))
        names = [b["name"] or f"block {b['id']}" for b in self.job["blocks"]] if self.is_block else map(str, self.kinds)
        names = list(zip(self.colours(), names))
        return names if len(names) <= most else names[: most - 1] + [("#ffffff", f"... {len(names) - most + 1} more")]

    def heading(self):
        """What stands above the legend."""
        return name_of(self.job) if self.kinds is not None else ""


def deformed(job, points, shape, numpy):
    """The points of a mode, and by what its shape was multiplied."""
    shape = numpy.nan_to_num(shape if shape.ndim == 2 else shape[:, None] * [[0, 0, 1]])
    most = numpy.linalg.norm(shape, axis=1).max(initial=0)
    size = numpy.linalg.norm(numpy.ptp(points, axis=0))
    factor = job["scale"] if job.get("scale") is not None else 0.1 * size / most if most > 0 else 1
    return points + factor * shape, factor


def camera_of(points, numpy):
    """Where the camera looks from, and the directions to the right and upwards of the picture."""
    if not numpy.isfinite(points).all():
        raise ValueError("expected coordinates that are numbers, found infinite ones or none")
    flat = numpy.ptp(points[:, 2]) == 0
    eye = numpy.array((0, 0, 1) if flat else EYE, float)
    eye /= numpy.linalg.norm(eye)
    right = numpy.cross((0, 1, 0) if flat else UP, eye)
    right /= numpy.linalg.norm(right)
    return eye, numpy.array([right, numpy.cross(eye, right)])
