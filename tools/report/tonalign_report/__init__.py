"""The page about one or many runs of tonalign.

run_log     what the log of one run says
volumes     Analyze pairs, read as tonalign reads them, one slab at a time
histograms  histogram files
scan        one run with everything the page shows of it, or why it failed
findings    what is worth a warning
pictures    slices as PNG, without another library
charts      histograms and cumulative curves as SVG
page        the HTML, with page.css and page.js
command     arguments, exit status, the file itself
"""

VERSION = "0.1.0"
