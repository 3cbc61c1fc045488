# SPDX-License-Identifier: BSD-3-Clause
"""The page about one or many runs of tonalign.

run_log     what the log of one run says
volumes     Analyze pairs, read as tonalign reads them, one slab at a time
histograms  histogram files
scan        one run with everything the page shows of it, or why it failed
findings    what is worth a warning
measures    what is measured of a scan and of what the match made of it
outliers    which scans of a cohort are unlike the others
pictures    slices as PNG, by Pillow
charts      histograms, cumulative and transfer curves as SVG, by matplotlib
strips      the cohort's measures, a dot a scan
page        the HTML, with page.css and page.js
texts       names and lines of logs for the page, messages for the terminal
page_file   the file itself, whole or not at all
command     arguments and exit status
"""

import logging
import os
import pathlib

# On a node without a home to write to, matplotlib would speak of its cache among our lines about failed scans.
logging.getLogger("matplotlib").setLevel(logging.ERROR)

# Where the account is not even known, as in some containers, matplotlib would not start at all.
try:
    pathlib.Path.home()
except RuntimeError:
    os.environ["HOME"] = "/"

VERSION = "0.1.0"
