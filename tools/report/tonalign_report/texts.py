# SPDX-License-Identifier: BSD-3-Clause
"""Texts from logs and names, made fit for the page and the terminal: short, and without what either would obey."""

import html
import os
import re

TEXT_BYTES = 1000  # of a reason, a name in it, a line of a log
NAME_BYTES = 255  # of a scan's name, which stands on the page a dozen times
CONTROL = re.compile("[\x00-\x09\x0b-\x1f\x7f-\x9f\udc80-\udcff]")  # the last are bytes that are no text


def shortened(text, limit=TEXT_BYTES):
    """Without its middle, if it is too long: a name begins, and a reason ends, with what matters."""
    content = text.encode("utf-8", "surrogateescape")
    if len(content) <= limit:
        return text
    half = (limit - len(" ... ")) // 2
    return b" ... ".join((content[:half], content[-half:])).decode("utf-8", "surrogateescape")


def printable(text):
    """With control characters, but the line end, and bytes that are no text as \\xHH."""
    return CONTROL.sub(lambda found: f"\\x{ord(found[0]) & 0xff:02x}", text)


def clean(text):
    """As HTML."""
    return html.escape(shortened(printable(str(text))))


def put(descriptor, text):
    """Whether the text arrived. Not through Python's stream, which would try again at its end, and fail loudly."""
    left = text.encode("utf-8", "surrogateescape")
    try:
        while left:
            left = left[os.write(descriptor, left) :]
    except OSError:
        return False
    return True


def for_stream(text, stream):
    """What a terminal would obey goes to it printable; whatever is no terminal takes it as it is."""
    return printable(text) if stream.isatty() else text


def say(text):
    """A message on standard error; where that is full or closed, there is nobody to be told."""
    line = f"tonalign-report: {text}\n"
    put(2, printable(line) if os.isatty(2) else line)
