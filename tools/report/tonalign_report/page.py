# SPDX-License-Identifier: BSD-3-Clause
"""The HTML page: an index table of all scans, the worst first, then a section for each."""

import pathlib
import statistics

from . import VERSION
from .charts import cumulative_chart, histogram_chart, target_chart, transfer_chart
from .findings import foreground_at_top, percent
from .outliers import MEASURES
from .pictures import picture_grid
from .run_log import ENDINGS
from .texts import clean
from .volumes import GREY_LEVELS_COUNTED

HERE = pathlib.Path(__file__).resolve().parent

# Heading, kind of sorting, explanation
COLUMNS = (
    ("State", "number", "failed, unlike the others, with warnings, or sound; the worst first"),
    ("Scan", "text", "name of the log"),
    ("Remarks", "text", "why it failed, what it is unlike the others in, what the warnings are about"),
    ("Usage", "number", "1: to a target volume; 2: to a histogram file"),
    ("Error before", "number", "distance between the histograms of input and target, as tonalign printed it"),
    ("Error after", "number", "distance between the histograms of output and target, as tonalign printed it"),
    ("Background", "number", "share of the output's voxels in the lowest bin"),
    ("At top", "number", "share of the output's foreground that has its largest value"),
)
STATES = {
    "failed": "\N{MULTIPLICATION SIGN} failed",
    "unlike": "\N{NOT EQUAL TO} unlike",
    "warned": "! warnings",
    "sound": "\N{CHECK MARK} sound",
}


def count(number, one, many):
    return f"{number} {one if number == 1 else many}"


def badge(kind):
    return f'<span class="badge {kind}">{STATES[kind]}</span>'


def remarks(scan):
    """Why it failed or, of a scan that did not, what it is unlike the others in and what the warnings are about."""
    found = ", ".join(f"{MEASURES[reason.measure].title} ({reason.score:.0f})" for reason in scan.outlying)
    words = scan.failures or ([f"unlike the others in {found}"] if found else [])
    return [*words, *dict.fromkeys(finding.word for finding in scan.findings)]


def index_row(scan, rank):
    """The row of a scan; that of one that failed is filled by the reason."""
    run, output = scan.run, scan.volumes.get("output")
    said = clean("; ".join(remarks(scan)))
    cells = [
        f'<td data-value="{rank}">{badge(scan.state())}</td>',
        f'<td data-value="{clean(scan.name)}"><a href="#{scan.anchor}">{clean(scan.name)}</a></td>',
    ]
    if scan.failures:
        return f'<tr data-for="{scan.anchor}">{"".join(cells)}<td colspan="{len(COLUMNS) - 2}">{said}</td></tr>'
    numbers = (
        (str(run.usage), run.usage),
        (f"{run.error_before:g}", run.error_before),
        (f"{run.error_after:g}", run.error_after),
        (percent(output.in_background), output.in_background),
        (percent(foreground_at_top(output)), foreground_at_top(output)),
    )
    cells += [f"<td>{said}</td>", *(f'<td data-value="{value}" class="number">{shown}</td>' for shown, value in numbers)]
    return f'<tr data-for="{scan.anchor}">{"".join(cells)}</tr>'


def index_table(scans):
    heads = "".join(
        f'<th scope="col" data-kind="{kind}" title="{clean(why)}" aria-sort="{"none" if number else "ascending"}">'
        f'<button type="button">{name}</button></th>'
        for number, (name, kind, why) in enumerate(COLUMNS)
    )
    body = "\n".join(index_row(scan, rank) for rank, scan in enumerate(scans))
    return (
        '<div class="wide" tabindex="0" role="region" aria-label="Index of scans"><table id="index">'
        f"<thead><tr>{heads}</tr></thead><tbody>\n{body}\n</tbody></table></div>"
    )


def numbers_table(volumes, name):
    rows = []
    for what, volume in volumes.items():
        if not volume:
            continue
        header = volume.header
        more = "at least " if volume.levels >= GREY_LEVELS_COUNTED else ""
        values = (
            " \N{MULTIPLICATION SIGN} ".join(map(str, header.sizes())),
            " \N{MULTIPLICATION SIGN} ".join(f"{size:.4g}" for size in header.voxel_sizes()),
            header.element_type().name,
            f"{volume.minimum:g} to {volume.maximum:g}",
            percent(volume.in_background),
            percent(volume.at_maximum),
            f"{more}{volume.levels}",
        )
        cells = "".join(f"<td>{value}</td>" for value in values)
        rows.append(f'<tr data-volume="{what}"><th scope="row">{what}</th>{cells}</tr>')
    heads = ("voxels", "voxel size, mm", "stored as", "range", "in lowest bin", "at top value", "grey levels")
    head = "<td></td>" + "".join(f'<th scope="col">{name}</th>' for name in heads)
    return (
        f'<div class="wide" tabindex="0" role="region" aria-label="{clean(name)}: numbers"><table class="numbers"><thead><tr>{head}</tr></thead>'
        f'<tbody>{"".join(rows)}</tbody></table></div>'
    )


def settings(run):
    stages = [name for on, name in ((run.endpoint_stage, "endpoints"), (run.exact_stage, "exact")) if on]
    files = (("Input", "inputfile1"), ("target", "inputfile2"), ("output", "outputfile1"))
    parts = [f"{what} <b>{clean(run.files[listed])}</b>" for what, listed in files]
    parts += [f"{run.bins} bins", f"sigma {run.sigma:g}", f"stages: {' and '.join(stages) or 'none'}"]
    parts += [f"{run.seconds:.3g} s"]
    spans = " ".join(f"<span>{part}</span>" for part in parts)
    errors = f"before <b>{run.error_before:g}</b>, after <b>{run.error_after:g}</b>"
    return f'<p class="settings">{spans}</p><p class="error">Error between histograms: {errors}</p>'


def warnings_list(scan):
    items = [f"<li><b>unlike the others</b>: {clean(reason.text)}.</li>" for reason in scan.outlying]
    items += [f"<li><b>{clean(f.word)}</b>: {clean(f.text)}</li>" for f in scan.findings]
    if scan.run.nifti and scan.run.nifti.get("excluded_from_target"):
        items.append("<li>This scan did not enter the group's target.</li>")
    return f'<ul class="findings">{"".join(items)}</ul>' if items else ""


def charts(scan):
    drawn, note = histogram_chart(scan.histograms, scan.name)
    keys = "".join(f'<span><i class="key {what}"></i>{what}</span>' for what in ("input", "output", "target"))
    transfer = ""
    if scan.curve:
        curve, said = transfer_chart(scan.curve, scan.name)
        transfer = f"<figure>{curve}<figcaption>Output by input grey value, with nine tenths of it: {said}</figcaption></figure>"
    return (
        f'<div class="charts"><p class="keys">{keys}</p>'
        f"<figure>{drawn}<figcaption>Frequencies without the background. {note}</figcaption></figure>"
        f"<figure>{cumulative_chart(scan.histograms, scan.name)}<figcaption>Cumulative</figcaption></figure>{transfer}</div>"
    )


def marked(line):
    return f"<mark>{clean(line)}</mark>" if any(text in line for text in ENDINGS) else clean(line)


def looks(scan):
    """Pictures, charts and numbers: what takes the scan's voxels, and is drawn before the scan is judged."""
    target = None if scan.volumes["target"] else target_chart(scan.histograms["target"], scan.name)
    grid = picture_grid(scan.volumes, scan.name, target)
    return f'<div class="looks"><div>{grid}</div>{charts(scan)}</div>{numbers_table(scan.volumes, scan.name)}'


def section(scan):
    kind = scan.state()
    head = f'<h2>{clean(scan.name)} {badge(kind)}</h2><p class="log">log {clean(scan.log)}</p>'
    if scan.failures:
        reasons = "".join(f"<li>{clean(reason)}</li>" for reason in scan.failures)
        tail = "\n".join(map(marked, scan.last_lines))
        log = f'<details open><summary>End of the log</summary><pre tabindex="0">{tail}</pre></details>'
        log = log if scan.last_lines else ""
        body = f'<ul class="failures">{reasons}</ul>{log}'
    else:
        body = f"{settings(scan.run)}{warnings_list(scan)}{scan.looks}"
    top = '<a class="up" href="#top">index</a>'
    return f'<section id="{scan.anchor}" class="scan {kind}">{top}{head}{body}</section>'


def summary(scans):
    states = [scan.state() for scan in scans]
    parts = [
        count(len(scans), "scan", "scans"),
        f"{states.count('failed')} failed",
        f"{states.count('unlike')} unlike the others",
        f"{states.count('warned')} with warnings",
        f"{states.count('sound')} sound",
    ]
    runs = [scan.run for scan in scans if not scan.failures]
    errors = ""
    if runs:
        before, after = (statistics.median(errors) for errors in zip(*((r.error_before, r.error_after) for r in runs)))
        largest = max(run.error_after for run in runs)
        errors = f" Median error {before:.3g} before, {after:.3g} after; largest after {largest:.3g}."
    return f'<p class="summary">{parts[0]}: {", ".join(parts[1:])}.{errors}</p>'


NOTES = """<p class="notes">Pictures show the middle slices as the files store them: axes are the order of storage, not
sides of the body, and nothing is turned round. Input is grey from its smallest voxel to the one that one in a thousand
passes; output and target share one such window. The background is the lowest bin of each volume's own range.</p>"""


def page(title, scans, cohort):
    """The whole page, for scans in the order in which they are to stand, and the strip plots."""
    style = (HERE / "page.css").read_text("utf-8")
    script = (HERE / "page.js").read_text("utf-8")
    return f"""<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy"
  content="default-src 'none'; img-src data:; style-src 'unsafe-inline'; script-src 'unsafe-inline'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<meta name="generator" content="tonalign-report {VERSION}">
<link rel="icon" href="data:,">
<title>{clean(title)}</title>
<style>
{style}</style>
</head>
<body>
<header id="top"><h1>{clean(title)}</h1>{summary(scans)}</header>
<main>
{cohort}
<h2>Scans, the worst first</h2>
<p class="controls" hidden><label>Find <input type="search" id="find" autocomplete="off"></label>
<span id="shown" role="status"></span></p>
{index_table(scans)}
{NOTES}
{chr(10).join(map(section, scans))}
</main>
<footer>tonalign-report {VERSION}</footer>
<script>
{script}</script>
</body>
</html>
"""
