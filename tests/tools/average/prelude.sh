# shellcheck shell=bash
# What the cases share. run_case sources it before a case's own commands.

# average ARGUMENT...: runs the command and shows its arguments on both streams and, on standard output, its status and
# whether it left anything new or changed in the folder.
average() {
    local status=0 before
    echo "--- $*"
    echo "--- $*" >&2
    before=$(files)
    "$TONALIGN_AVERAGE" "$@" || status=$?
    if [ "$(files)" = "$before" ]; then
        echo "status $status, nothing written"
    else
        echo "status $status, something written"
    fi
}

# Name, time and content of everything in here. The folder's own time tells of temporary files, which may come and go.
files() {
    find . -mindepth 1 -printf '%p %T@\n' | sort
    find . -type f -exec cksum {} + | sort
}
