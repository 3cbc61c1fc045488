# shellcheck shell=bash
# What the cases share. run_case sources it before a case's own commands.

# header ARGUMENT...: runs the command and shows its arguments on both streams and, on standard output, its status.
header() {
    local status=0
    echo "--- $*"
    echo "--- $*" >&2
    "$TONALIGN_HEADER" "$@" || status=$?
    echo "status $status"
}
