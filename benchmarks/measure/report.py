"""Goals, the table, and the picture."""

import dataclasses
import os


@dataclasses.dataclass(frozen=True)
class Goal:
    what: str
    value: float
    goal: float = None  # none where a figure is only told
    beyond: float = None
    unit: str = "x"
    at_most: bool = False
    processor: float = None  # the same by processor time

    def reaches(self, bound):
        return self.value <= bound if self.at_most else self.value >= bound

    def verdict(self):
        if self.beyond is not None and self.reaches(self.beyond):
            return "beyond"
        if self.goal is None:
            return ""
        return "reached" if self.reaches(self.goal) else "MISSED"


def shown(value, unit):
    if value is None:
        return ""
    return f"{value:.2f} {unit}" if value < 10 else f"{value:.1f} {unit}"


def bounds(goal):
    sign = "<=" if goal.at_most else ">="
    return ", ".join(f"{sign} {bound:g}" for bound in (goal.goal, goal.beyond) if bound is not None)


def print_goals(title, goals):
    print(f"\n{title:58}{'measured':>12}{'processor':>12}   {'goal, beyond':16}")
    for goal in goals:
        print(f"  {goal.what:56}{shown(goal.value, goal.unit):>12}"
              f"{shown(goal.processor, goal.unit):>12}   {bounds(goal):16}{goal.verdict()}".rstrip())


def machine():
    with open("/proc/cpuinfo", encoding="ascii", errors="replace") as lines:
        model = next((line.split(":")[1].strip() for line in lines
                      if line.startswith("model name")), "unknown")
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    return {"processor": model, "processors": os.cpu_count(), "memory": f"{memory:.0f} GiB",
            "kernel": os.uname().release, "load before": round(os.getloadavg()[0], 2)}


def draw(comparisons, names, path):
    """comparisons: label -> how many times as quick, for each name."""
    import matplotlib
    matplotlib.use("svg")
    matplotlib.rcParams["svg.hashsalt"] = "ratios"
    from matplotlib import pyplot
    figure, axes = pyplot.subplots(figsize=(8, 0.4 * len(names) + 1.5), layout="constrained")
    height = 0.8 / len(comparisons)
    for place, (label, values) in enumerate(comparisons.items()):
        bars = axes.barh([row - place * height for row in range(len(names), 0, -1)], values,
                         height, label=label)
        axes.bar_label(bars, fmt="%.1f", fontsize=7, padding=2)
    axes.set_yticks([row - height for row in range(len(names), 0, -1)], names)
    axes.set_xscale("log")
    ticks = [1, 2, 5, 10, 20, 50]
    axes.set_xticks(ticks, [str(tick) for tick in ticks])
    axes.minorticks_off()
    axes.set_ylim(0.2, len(names) + 0.6)
    axes.axvline(1, color="black", linewidth=0.8)
    axes.set_xlim(right=2 * max(max(values) for values in comparisons.values()))
    figure.suptitle("pdfconvert with two workers is so many times as quick", fontsize=10)
    axes.legend(fontsize=8, loc="upper right")
    figure.savefig(path, metadata={"Date": None})
