# shellcheck shell=bash
# SPDX-License-Identifier: BSD-3-Clause
# What the cases share. run_case sources it before a case's own commands.

# try ARGUMENT...: runs the tool and shows its arguments, what it wrote to either stream, its status, and whether it left
# anything new or changed in here.
try() {
    local status=0 before
    before=$(files)
    "$TOOL" "$@" >../stdout 2>../stderr || status=$?
    echo "--- $*"
    cat ../stdout
    sed 's/^/err: /' ../stderr
    if [ "$(files)" = "$before" ]; then echo "status $status"; else echo "status $status, files written"; fi
}

# Name, time and content of everything in here.
files() {
    find . -mindepth 1 -printf '%p %T@\n' -type f -exec cksum {} ';' | sort
}

# watched ARGUMENT...: runs the tool in a terminal and shows what comes there. Without terminals the case is skipped.
watched() {
    if ! python3 -c 'import os; os.openpty()' 2>/dev/null; then
        echo "skipped: no pseudo-terminal can be opened here"
        exit 77
    fi
    echo "--- $*"
    python3 -c 'import pty, sys; print("status", pty.spawn(sys.argv[1:]) >> 8)' "$TOOL" "$@" </dev/null | cat -v
}
