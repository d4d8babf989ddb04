#!/usr/bin/env bash
# Changes the library's code in one place after another, and looks whether a test notices. `scripts/mutate.sh --help`
# says how. Exit code 0: at least 95 % were noticed; 1: fewer; 2: it could not be tried.
set -uo pipefail
case " $* " in
*" --help "* | *" -h "* | *" --list "*) ;;
*) source "$(dirname "$0")/setup.sh" build test || exit 2 ;;
esac
exec python3 -B "$(dirname "${BASH_SOURCE[0]}")/mutate.py" "$@"
