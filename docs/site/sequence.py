"""Draws sequence diagrams, given in the part of Mermaid's language that the guides use, as SVG.

    participant a as application
    a->>b: a call
    b-->>a: a signal or an answer
    Note over a,b: something that happens
"""

import html
import re

CHARACTER = 7.3  # pixels, of the small text
ROW = 44
TOP = 44
MARGIN = 12


class Diagram:
    def __init__(self, lines):
        self.names = {}  # what each participant is called, in their order
        self.rows = []  # (kind, from, to, text)
        for line in lines:
            self.read(line.strip())
        self.order = list(self.names)
        self.x = self.columns()

    def read(self, line):
        if found := re.fullmatch(r"participant (\w+) as (.+)", line):
            self.names[found[1]] = found[2]
        elif found := re.fullmatch(r"(\w+)(->>|-->>)(\w+): (.+)", line):
            self.rows.append((found[2], found[1], found[3], found[4]))
        elif found := re.fullmatch(r"Note over (\w+)(?:,(\w+))?: (.+)", line):
            self.rows.append(("note", found[1], found[2] or found[1], found[3]))
        elif line != "sequenceDiagram":
            raise ValueError(f"no part of a sequence diagram: {line}")

    def columns(self):
        """Where the participants stand: as far apart as names and texts need."""
        widths = [len(name) * CHARACTER + 24 for name in self.names.values()]
        gaps = [(a + b) / 2 + 16 for a, b in zip(widths, widths[1:])]
        for kind, sender, receiver, text in self.rows:
            first, last = sorted((self.order.index(sender), self.order.index(receiver)))
            if kind != "note" and first != last:
                lacking = len(text) * CHARACTER + 28 - sum(gaps[first:last])
                gaps[last - 1] += max(0, lacking)
        x = [MARGIN + max(widths[0], self.note_width(self.order[0])) / 2]
        for gap in gaps:
            x.append(x[-1] + gap)
        self.width = x[-1] + max(widths[-1], self.note_width(self.order[-1])) / 2 + MARGIN
        return dict(zip(self.order, x))

    def note_width(self, name):
        """How wide the widest note is that stands over this participant alone."""
        return max((len(text) * CHARACTER + 24 for kind, first, last, text in self.rows
                    if kind == "note" and first == last == name), default=0)

    def svg(self):
        height = TOP + len(self.rows) * ROW + 16
        parts = [f'<div class="sequence"><svg role="img" aria-label="Sequence diagram" '
                 f'width="{self.width:.0f}" height="{height}" '
                 f'viewBox="0 0 {self.width:.0f} {height}">']
        for key, name in self.names.items():
            x = self.x[key]
            parts.append(f'<line class="life" x1="{x:.0f}" y1="{TOP - 12}" x2="{x:.0f}" '
                         f'y2="{height}"/>')
            parts.append(self.box("who", x, 18, len(name) * CHARACTER + 24, name))
        for number, row in enumerate(self.rows):
            parts.append(self.row(TOP + ROW * (number + 0.75), *row))
        return "".join(parts) + "</svg></div>"

    def row(self, y, kind, sender, receiver, text):
        start, end = self.x[sender], self.x[receiver]
        if kind == "note":
            width = max(len(text) * CHARACTER + 24, abs(end - start) + 60)
            return self.box("note", (start + end) / 2, y - 6, width, text)
        back = 8 if end < start else -8
        style = "signal" if kind == "-->>" else "call"
        return (f'<text x="{(start + end) / 2:.0f}" y="{y - 7:.0f}">{html.escape(text)}</text>'
                f'<line class="{style}" x1="{start:.0f}" y1="{y:.0f}" x2="{end + back / 2:.0f}" '
                f'y2="{y:.0f}"/>'
                f'<path class="head" d="M{end:.0f} {y:.0f}l{back} -5v10z"/>')

    @staticmethod
    def box(style, x, y, width, text):
        return (f'<rect class="{style}" x="{x - width / 2:.0f}" y="{y - 14:.0f}" '
                f'width="{width:.0f}" height="28" rx="5"/>'
                f'<text class="{style}" x="{x:.0f}" y="{y + 4.5:.0f}">{html.escape(text)}</text>')
