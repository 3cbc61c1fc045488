# shellcheck shell=bash
# What the cases share. run_case sources it before a case's own commands.

# try LABEL ARGUMENT...: runs the tool and shows, under the label on both streams, what it wrote (of standard output what
# follows the parameter listing) and, on standard output, its exit status and whether it touched anything in out/.
try() {
    local label=$1 status=0 before
    shift
    echo "--- $label"
    echo "--- $label" >&2
    before=$(outputs)
    "$TONALIGN" "$@" >../stdout || status=$?
    after_listing <../stdout
    if [ "$(outputs)" = "$before" ]; then
        echo "status $status, out/ untouched"
    else
        echo "status $status, out/ written"
    fi
}

# usage1 LABEL INPUT TARGET BINS SIGMA ENDPOINTS HISTOGRAMS: an attempt at the run form with 12 arguments.
usage1() {
    try "$1" "$2" "$3" out/1 out/2 "$4" "$5" "$6" "$7" out/1.hist out/2.hist out/1t.hist out/2t.hist
}

# usage2 LABEL INPUT TARGET BINS: an attempt at the run form with 6 arguments.
usage2() {
    try "$1" "$2" "$3" out/1 "$4" out/1.hist out/1t.hist
}

# reports ATTEMPT...: of one of the above, its label, the reports on ranges, errors and endpoints, and how it ended.
reports() {
    "$@" | grep -E '^(---|Image|Error|bp|status)'
}

# saving ATTEMPT...: of one of the above, its label and what follows the reports.
saving() {
    "$@" | awk '/^---/; /IMAGES ARE BEING SAVED/ { saving = 1 } saving'
}

# Leaves some of the outputs of an earlier run, and others not: a refused run must neither change nor make one.
keep_old_outputs() {
    local file
    for file in 1.img 1t.hist 2.hdr 2.hist; do
        echo "from before" >"out/$file"
    done
}

# The listing ends in the second pair of empty lines.
after_listing() {
    awk 'pairs == 2 { print } NR > 1 && $0 == "" && last == "" { ++pairs } { last = $0 }'
}

# Name, time and content of everything in out/.
outputs() {
    find out -printf '%p %T@\n' | sort
    find out -type f -exec cksum {} + | sort
}

# The voxels of an image that the tool wrote.
floats() {
    od -An -v -w16 -t f4 "$1"
}

# Offset and octal values (before, after) of the bytes in which a file that the tool wrote differs from another.
changed_bytes() {
    cmp -l "$1" "$2" || true
}
