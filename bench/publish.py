"""Writes the figures of a run of bench/measure.py into a document (the lines between its two marks)
and a chart beside it.

  publish.py RESULTS DOCUMENT_WITHOUT_SUFFIX
"""

import json
import re
import sys

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402  (the renderer is chosen before)

RESULTS, DOCUMENT = sys.argv[1:3]
BEGIN, END = "<!-- figures: begin -->", "<!-- figures: end -->"
COLOURS = {
    "engine": "#1f6feb",
    "file server": "#1f6feb",
    "nginx": "#8c959f",
    "lighttpd": "#bf8700",
    "select loop": "#cf222e",
}


def table(rows):
    lines = ["| | server | a second | CPU µs each | p99 ms |", "|---|---|--:|--:|--:|"]
    for row in rows:
        title = row["title"]
        for name, figures in row["servers"].items():
            latency = f"{figures['p99_ms']:.2f}" if figures["p99_ms"] else ""
            lines.append(
                f"| {title} | {name} | {figures['rate']:.0f} | {figures['cpu_us']:.1f} | {latency} |"
            )
            title = ""
    return lines


def memory_table(rows):
    lines = ["| idle connections | server | KiB each |", "|---|---|--:|"]
    for row in rows:
        for name, figures in row["servers"].items():
            lines.append(f"| {row['title']} | {name} | {figures['kib']:.2f} |")
    return lines


def draw(rows, name):
    """Rates as bars, each row against the first server's neighbours."""
    figure, axes = plt.subplots(figsize=(9, 0.62 * len(rows) + 1))
    labels, position = [], 0.0
    seen = set()
    for row in rows:
        top = max(figures["rate"] for figures in row["servers"].values())
        start = position
        for server, figures in row["servers"].items():
            label = None if server in seen else server
            seen.add(server)
            axes.barh(position, figures["rate"] / top, 0.9, color=COLOURS[server], label=label)
            axes.text(figures["rate"] / top + 0.01, position, f"{figures['rate']:,.0f}/s", va="center", fontsize=7)
            position += 1
        labels.append(((start + position - 1) / 2, row["title"]))
        position += 0.8
    axes.set_yticks([at for at, _ in labels], [text for _, text in labels], fontsize=8)
    axes.invert_yaxis()
    axes.set_xlim(0, 1.18)
    axes.set_xticks([])
    for side in ("top", "right", "bottom"):
        axes.spines[side].set_visible(False)
    axes.legend(loc="lower right", fontsize=8, frameon=False)
    figure.tight_layout()
    plt.rcParams["svg.hashsalt"] = "performance"  # the same figures give the same file
    figure.savefig(name, metadata={"Date": None})


def main():
    with open(RESULTS, encoding="utf-8") as file:
        results = json.load(file)
    rows = results["rows"]
    rates = [row for row in rows if row["group"] != "memory"]
    lines = [f"Best of {results['rounds']} runs of {results['seconds']} s each.", ""]
    lines += table(rates) + [""] + memory_table([row for row in rows if row["group"] == "memory"])
    with open(f"{DOCUMENT}.md", encoding="utf-8") as file:
        text = file.read()
    text = re.sub(
        f"{BEGIN}.*{END}", lambda _: "\n".join([BEGIN, *lines, END]), text, flags=re.DOTALL
    )
    with open(f"{DOCUMENT}.md", "w", encoding="utf-8") as file:
        file.write(text)
    draw(rates, f"{DOCUMENT}.svg")


main()
