# SPDX-License-Identifier: BSD-3-Clause
"""Strip plots of a cohort: a row for each measure, a dot for each scan, outliers by name."""

from .outliers import FEWEST, MEASURES
from .texts import clean

WIDTH, HEIGHT = 480, 26
EDGE = 12  # robust standard deviations; whatever is further stands at the edge
NAMED = 8  # outliers by name in a row


def across(score):
    return WIDTH / 2 + max(-EDGE, min(EDGE, score)) / EDGE * (WIDTH / 2 - 8)


def dot(score, name, anchor, outlies):
    """A mark that leads to its scan. By keyboard the outliers alone are met: there can be thousands of others."""
    kind, focus = ("out", "") if outlies else ("in", ' tabindex="-1"')
    label = clean(f"{name}: {score:+.1f}")
    return (
        f'<a href="#{anchor}" aria-label="{label}"{focus}><circle class="{kind}" cx="{across(score):.1f}" '
        f'cy="{HEIGHT / 2:g}" r="{4.5 if outlies else 3:g}"><title>{label}</title></circle></a>'
    )


def strip(measure, scores, scans, anchors):
    """A row of the table: what is measured, its plot and its outliers."""
    outlying = [any(reason.measure == measure for reason in scan.outlying) for scan in scans]
    dots = "".join(
        dot(score, scan.name, anchor, out)
        for score, scan, anchor, out in sorted(zip(scores, scans, anchors, outlying), key=lambda entry: entry[3])
    )
    limit = MEASURES[measure].limit
    left = across(-limit) if MEASURES[measure].two_sided else 0
    band = f'<rect class="band" x="{left:.1f}" y="4" width="{across(limit) - left:.1f}" height="{HEIGHT - 8}"/>'
    order = sorted((-abs(score), scan.name, anchor) for score, scan, anchor, out in zip(scores, scans, anchors, outlying) if out)
    names = [f'<a href="#{anchor}">{clean(name)}</a>' for _, name, anchor in order[:NAMED]]
    names += [f"and {len(order) - NAMED} more"] if len(order) > NAMED else []
    title = clean(MEASURES[measure].title)
    return (
        f'<tr><th scope="row">{title}</th><td class="strip"><svg viewBox="0 0 {WIDTH} {HEIGHT}" role="group" '
        f'aria-label="{title}: {len(scans)} scans, {len(order)} outside">{band}{dots}</svg></td><td>{", ".join(names)}</td></tr>'
    )


def strip_plots(scans, scores, anchors):
    """The plots for scans that have been judged; a sentence for a cohort too small for that."""
    if not scores:
        return f'<p class="notes">Fewer than {FEWEST} scans to compare: none can be said to be unlike the others.</p>'
    rows = "".join(strip(measure, found, scans, anchors) for measure, found in scores.items())
    return (
        '<section id="cohort"><h2>How alike the scans are</h2><p class="notes">A dot is a scan, and leads to it. It stands as '
        "many robust standard deviations from the cohort's median as it is away from the middle, at most "
        f"{EDGE}; what lies outside the band is named.</p>"
        f'<table class="strips"><thead><tr><th scope="col">measure</th><th scope="col">scans</th>'
        f'<th scope="col">unlike the others</th></tr></thead><tbody>{rows}</tbody></table></section>'
    )
