# Read by the tests of this folder, which are called with PDFCONVERT MAKE-SAMPLE DEPRIVE WORK: makes the
# folder WORK, goes there, and puts our programs and those of the system in front of all others.
# shellcheck shell=bash
set -euo pipefail

skip() {
    echo "skipped: $*"
    exit 77
}

fail() {
    echo "$*" >&2
    exit 1
}

needs() { # package, programs...
    local program
    for program in "${@:2}"; do
        command -v "$program" >/dev/null || skip "there is no $program; tests/doors/run installs $1"
    done
}

# The block of a page that is run, as users would copy it.
example_of() { # page
    sed -n '/^<!-- tests\/doors\/.* runs this/,/^```$/p' "$sources/docs/$1" | grep -v -e '^<!--' -e '^```'
}

make_document() { # name, arguments of make-sample...
    QT_QPA_PLATFORM=offscreen XDG_RUNTIME_DIR=$work/run "$make_sample" "$work/$1" "${@:2}"
}

# As on a machine without a measure of the sandbox.
without_landlock() { "$deprive" landlock=ENOSYS "$(command -v "$1")" "${@:2}"; }

left_behind() { find "$TMPDIR" -mindepth 1; }

sources=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../..")
pdfconvert=$(realpath "$1") make_sample=$(realpath "$2") deprive=$(realpath "$3") work=$4
rm -rf "$work"
mkdir -p "$work/bin" "$work/temporary"
mkdir -m 700 "$work/run"
work=$(realpath "$work")
export TMPDIR=$work/temporary PYTHONDONTWRITEBYTECODE=1
ln -s "$pdfconvert" "$work/bin/pdfconvert"
PATH=$work/bin:/usr/bin:/bin
cd "$work"
