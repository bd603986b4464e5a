#!/usr/bin/env python3
"""Writes a scene of CHAINS chains of DEPTH locators, each the child of the one before, with a
small position and rotation on each and every item exported: the deep-hierarchy case for
qvhost save. With STEPS, each locator's pos.Y and rot.Z are keyed every second and the scene
plays STEPS samples at 30 fps, as gltfio_bench's BM_AnimationSampling does.

    python3 bench/chain_scene.py DEPTH [CHAINS [STEPS]] > chain.json
    qvhost save chain.json chain.glb
"""
import json
import sys


def locator(index, parent, steps):
    item = {"id": "i%d" % index, "type": "locator", "name": "L%d" % index,
            "transform": {"position": [0, 0.01, 0], "rotation": [0, 0, (index % 7) * 0.5]}}
    if parent is not None:
        item["parent"] = "i%d" % parent
    if steps:
        seconds = range(steps // 30 + 2)
        item["keys"] = {"edit": {"pos.Y": [[s, (s + index) % 3] for s in seconds],
                                 "rot.Z": [[s, 0.1 * (s + index)] for s in seconds]}}
    return item


def scene(depth, chains=1, steps=0):
    items = [locator(c * depth + d, c * depth + d - 1 if d else None, steps)
             for c in range(chains) for d in range(depth)]
    out = {"userValues": {"sceneio.gltf.save.exportType": 0}, "items": items}
    if steps:
        out["scene"] = {"channels": {"fps": 30.0, "currentS": 0.0, "currentE": (steps - 1) / 30}}
    return out


if __name__ == "__main__":
    args = [int(a) for a in sys.argv[1:4]]
    json.dump(scene(*args), sys.stdout, separators=(",", ":"))
