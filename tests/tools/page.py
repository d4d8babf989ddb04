"""Reads the pages of `pdmsim report`: what they tell, and their numbers."""

import base64
import json
import re
import zlib

import numpy as np


class Page:
    def __init__(self, path):
        self.html = path.read_text()
        self.about = json.loads(re.search(r'id="about">(.*?)</script>', self.html, re.S)[1])
        self.texts = re.findall(r'class="text">(.*?)</script>', self.html)
        self.next = 0
        self.faces = [(g, self.corners(g)) for g in self.about["faces"]]
        self.sets = {s["name"]: [self.corners(g) for g in s["groups"]] for s in self.about["sets"] if "groups" in s}
        self.coordinates = np.array([self.plane(p) for p in self.about["coordinates"]]).T

    def bytes(self, place):
        return zlib.decompress(base64.b64decode(self.texts[place], validate=True))

    def varints(self, place):
        numbers, value, shift = [], 0, 0
        for byte in self.bytes(place):
            value, shift = value | (byte & 127) << shift, shift + 7
            if byte < 128:
                numbers.append(value)
                value = shift = 0
        return numbers

    def corners(self, group):
        nodes = []
        for back in self.varints(group["nodes"]):
            nodes.append(self.next - back)
            self.next += back == 0
        return np.array(nodes, int).reshape(group["count"], group["corners"])

    def plane(self, one):
        raw = np.frombuffer(self.bytes(one["text"]), np.uint8).astype(np.int64)
        low, high = np.split(raw, 2)
        number = np.cumsum(low + 256 * high) & 65535
        least, greatest = one["least"], one["greatest"]
        if least is None:
            return np.full(len(number), np.nan)
        return np.where(number == 65535, np.nan, least + number * (greatest - least) / 65534)
