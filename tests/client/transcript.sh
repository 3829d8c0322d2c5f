#!/bin/bash
# transcript.sh [--accept] BUILD FILE: runs a transcript of the client, as its users see it, in a private controller with
# the machine's own tools. A line is one of
#
#   # TEXT      a remark
#   $ COMMAND   typed into one bash, and what it comes to: standard output, ! standard error, = an exit status that is not 0
#
# What it comes to stands behind =>, or in lines of its own below. Stamps, lines of source and milliseconds read as N.
# Descriptors 5 to 7 are the example in C, the library, and the example in Python. With --accept the file is brought to what
# was seen, to be looked at with git diff.
set -u

inside() {
    PATH=/run/bin:/rig:$PATH
    mkdir -p /run/q7net/dhcp /run/bin
    # waits for COMMAND to succeed
    # shellcheck disable=SC2317 # transcripts use it
    until_so() { for _ in {1..200}; do "$@" >/run/tried 2>&1 && return; sleep 0.05; done; cat /run/tried; }
    while IFS= read -r line <&8; do
        case $line in
        "    "*) ;;
        "$ "*)
            typed=${line%% =>*}
            eval "${typed#\$ }" >/run/out 2>/run/err
            status=$?
            { cat /run/out; sed 's/^/! /' /run/err; [ "$status" = 0 ] || echo "= $status"; } >/run/parts
            mapfile -t parts </run/parts
            whole="$typed =>$(printf ' | %s' "${parts[@]}" | cut -c 3-)"
            if [ ${#parts[@]} -gt 0 ] && [ ${#whole} -le 240 ]; then
                echo "$whole"
            else
                echo "$typed"
                [ ${#parts[@]} = 0 ] || printf '    %s\n' "${parts[@]}"
            fi
            ;;
        *) echo "$line" ;;
        esac
    done | sed -E 's/[0-9]{2}-[A-Z][a-z]{2} [0-9:]{8}/N/g; s/\(\):[0-9]+/():N/g; s/[0-9.]+ ms/N ms/; s/"ms":[0-9.]+/"ms":N/; s/ +$//'
}

if [ "$1" = inside ]; then
    inside
    exit
fi
[ "$1" = --accept ] && accept=1 && shift
build=$1 file=$2 example=$(dirname "$0")/../../lib/examples/link.py
seen=$("$build/tests/sandbox" /bin/bash -c "$(cat "$0")" transcript inside \
    5<"$build/tests/client_example" 6<"$build/libq7net.so.1" 7<"$example" 8<"$file") || exit
if [ "${accept-}" ]; then
    echo "$seen" >"$file"
else
    diff "$file" - <<<"$seen"
fi
