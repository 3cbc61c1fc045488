# SPDX-License-Identifier: BSD-3-Clause
"""A study: from the scans of a folder to normalised scans and the page about them.

bids        names and descriptions of files in BIDS datasets
inputs      finds scans and masks, and says what their results are called
records     what is kept between runs, and who is out of date
steps       what the jobs of the workflow do
command     arguments, summary, the workflow's run, exit status
"""
