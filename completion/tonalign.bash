# shellcheck shell=bash
# SPDX-License-Identifier: BSD-3-Clause
# Completion of tonalign's commands for bash. bash-completion loads it by a command's name; it needs nothing of it.

# __tonalign_files CURRENT SUFFIX...: files that end so, and the folders on the way to others.
__tonalign_files()
{
    local current=$1 suffix
    shift
    compopt -o filenames 2>/dev/null || true # refused outside of a completion, where it does not matter
    mapfile -t COMPREPLY < <(
        for suffix in "$@"; do
            compgen -f -X "!*$suffix" -- "$current"
        done
        compgen -d -- "$current"
    )
}

# __tonalign_histograms CURRENT: histogram files; where there is none, every file.
__tonalign_histograms()
{
    __tonalign_files "$1" .hist
    if ((${#COMPREPLY[@]} == 0)); then
        __tonalign_files "$1" ''
    fi
}

# __tonalign_volumes CURRENT: volumes by their base names; once that is typed, by the names of their files.
__tonalign_volumes()
{
    local name
    local -A bases=()
    __tonalign_files "$1" .hdr .img
    for name in "${COMPREPLY[@]}"; do
        name=${name%.hdr}
        name=${name%.img}
        if [[ $name == "$1"* ]]; then
            bases[$name]=
        fi
    done
    if ((${#bases[@]} > 0)); then
        COMPREPLY=("${!bases[@]}")
    fi
}

# __tonalign_words CURRENT WORD...: those of the words that begin so.
__tonalign_words()
{
    mapfile -t COMPREPLY < <(compgen -W "${*:2}" -- "$1")
}

# The number of arguments tells the usages apart, but they are not all there yet: what the second one names is told by
# its files.
__tonalign_arguments()
{
    local target=${COMP_WORDS[2]-}
    case $2 in
    1 | 3) __tonalign_volumes "$1" ;;
    2)
        __tonalign_volumes "$1"
        mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -X '!*.hist' -- "$1")
        ((${#COMPREPLY[@]} > 0)) || __tonalign_histograms "$1"
        ;;
    *)
        if [[ -f $target && $target != *.@(hdr|img) ]]; then
            case $2 in 5 | 6) __tonalign_histograms "$1" ;; esac
        else
            case $2 in
            4) __tonalign_volumes "$1" ;;
            7 | 8) __tonalign_words "$1" 0 1 ;;
            9 | 10 | 11 | 12) __tonalign_histograms "$1" ;;
            esac
        fi
        ;;
    esac
}

__tonalign_nifti_options=(
    -h --help --mask --target-mask --masks --bins --sigma --endpoints --clip --classic --outside --volume
    --histogram-before --histogram-after --histogram-target --log -o --output --smooth --leave-out --leave-out-outliers
    --threads -q --quiet
)

__tonalign_study_options=(
    -h --help --version --participant-label --session --suffix --masks --target --all-in-target --bins --sigma --clip
    --jobs --slurm --account --partition --dry-run --clean --
)

# bash gives the command, the word to complete and the one before it.
_tonalign()
{
    local command=${1##*/} current=${COMP_WORDS[COMP_CWORD]}
    COMPREPLY=()
    case $command:$3:$current in
    tonalign:*) __tonalign_arguments "$current" "$COMP_CWORD" ;;
    tonalign-report:-o:*) __tonalign_files "$current" .html ;;
    tonalign-report:-C:*) __tonalign_files "$current" / ;;
    tonalign-report:--title:*) ;;
    tonalign-report:*:-*) __tonalign_words "$current" -h --help --version -o -C --title ;;
    tonalign-average:*:-*)
        __tonalign_words "$current" --clip --smooth --leave-out --leave-out-outliers --report --help --version -- ;;
    tonalign-header:*:-*) __tonalign_words "$current" --help --version -- ;;
    tonalign-nifti:*)
        case $COMP_CWORD:$current in
        1:*) __tonalign_words "$current" match average -h --help --version ;;
        *:-*) __tonalign_words "$current" "${__tonalign_nifti_options[@]}" ;;
        *) __tonalign_files "$current" '' ;;
        esac
        ;;
    tonalign-study:--target:* | tonalign-study:--masks:*) __tonalign_files "$current" '' ;;
    tonalign-study:*:-*) __tonalign_words "$current" "${__tonalign_study_options[@]}" ;;
    tonalign-*-nifti:*:-*) __tonalign_words "$current" -h --help --version ;;
    tonalign-report:* | tonalign-study:* | tonalign-*-nifti:*) __tonalign_files "$current" '' ;;
    *)
        case $command:$COMP_CWORD in
        tonalign-header:1) __tonalign_words "$current" print diff ;;
        tonalign-average:1) __tonalign_histograms "$current" ;;
        tonalign-average:2) ;;
        *) __tonalign_volumes "$current" ;;
        esac
        ;;
    esac
}

complete -F _tonalign tonalign tonalign-header tonalign-average tonalign-from-nifti tonalign-report tonalign-to-nifti \
    tonalign-nifti tonalign-study
