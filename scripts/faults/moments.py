"""Processes that are started, stopped and killed at any moment: what is repeated how often."""

# How often in the ordinary tests, and in ./dev faults; each repetition is one start.
_COUNTS = {"writer": (30, 1000), "starts": (2, 80), "pairs": (10, 400), "sigterm": (10, 200), "sigkill": (10, 200)}
NAMES = list(_COUNTS)
_CASES = 8  # that work side by side


def counts(is_quick, wanted):
    return {name: wanted or pair[0 if is_quick else 1] for name, pair in _COUNTS.items()}


def cases(names, how_often):
    for name in names:
        total = how_often[name]
        for index in range(min(_CASES, total)):
            share = total // _CASES + (1 if index < total % _CASES else 0)
            if share:
                yield {"id": f"{name} {index}", "group": name, "fault": f"moments:{share}:{index}"}
