#!/usr/bin/env python3
"""compare.py KEPT FIGURES: prints a warning for each benchmark whose figures are more than a quarter behind those kept,
both files made by scripts/bench --json. Compared are the ratio to the limit, which was measured in the same process so
that the machine's own speed falls out, and the further figures, of which less is better."""

import json
import sys

kFactor = 1.25


def figures(path):
    with open(path) as file:
        return {(entry["name"], name): value
                for entry in json.load(file)
                for name, value in {"ratio": entry["ratio"], **entry.get("figures", {})}.items()}


kept, new = figures(sys.argv[1]), figures(sys.argv[2])
warnings = 0
for (benchmark, name), value in kept.items():
    if (benchmark, name) not in new:
        text = "is not measured any more"
    elif new[benchmark, name] > value * kFactor:
        text = f"{new[benchmark, name]:.3g}, kept is {value:.3g}"
    else:
        continue
    print(f"WARNING: {benchmark}: {name}: {text}")
    warnings += 1
print(f"{len(kept)} figures compared, {warnings} warnings")
