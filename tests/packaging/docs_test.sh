#!/bin/bash
# docs_test.sh Q7RDCTL SOURCE MANDIR: that no command, option or choice is missing from the manual pages, and no command
# from the transcripts, and that the completion offers them.
set -euo pipefail

q7rdctl=$1 source=$2 man=$3
failures=0
fail() { echo "FAILED: $*"; failures=$((failures + 1)); }

page=$(sed 's/\\//g; s/\*//g' "$source/packaging/man/q7rdctl.1.scd.in")
commands=$("$q7rdctl" --help | awk '/^[A-Za-z -]+:$/ { on = $0 != "Options:" && $0 != "Example:" } on && /^  [a-z]/ { print $1 }')
codes=$(sed -n 's/^    RD_CMD_\([A-Z0-9_]*\) = .*/\1/p' "$source/include/q7net/protocol.h" | tr 'A-Z_' 'a-z-')
[ "$(sort <<<"$codes"$'\nraw\nbatch\nlog\nping\nhelp')" = "$(sort <<<"$commands")" ] || fail "not a command for each code: $commands"
for code in ${codes//-/_}; do
    grep -qE "^>>? ${code^^}( |$)" "$source"/tests/transcripts/*.txt || fail "${code^^} has no case"
done
for command in $commands; do
    # Its entries in the page: from a line that begins with it to the next entry.
    entry=$(awk -v command="$command" '/^[a-z#]/ { on = $1 == command || $0 ~ "(^|, )" command " _" } on' <<<"$page")
    [ -n "$entry" ] || fail "q7rdctl(1) has no $command"
    told=$(tr -c 'a-zA-Z0-9_-' '\n' <<<"$entry")
    for word in $("$q7rdctl" "$command" --help | sed '1,/^$/d; /^Example:/,$d' | grep -oE '^  --[a-z0-9-]+|\{[^}]*\}' | tr '{,}' '   '); do
        [[ $word == --help-all || $word =~ ^[0-9]+$ ]] || grep -qx -e "$word" <<<"$told" || fail "q7rdctl(1) does not tell of $word of $command"
    done
done
for word in $("$q7rdctl" --help | sed '/^Services\|^Links/,$d' | grep -oE -- '--[a-z-]+'); do
    grep -q -e "^.*$word" <<<"$page" || fail "q7rdctl(1) has no $word"
done
for status in "0 done" "1 refused or failed" "2 wrong usage" "3 no reply"; do
    "$q7rdctl" --help | grep -q "$status" || fail "the help does not tell of exit status $status"
    awk '/^# EXIT STATUS/ { on = 1 } /^# EXAMPLES/ { on = 0 } on' <<<"$page" | grep -qx "${status%% *}" ||
        fail "q7rdctl(1) does not tell of exit status ${status%% *}"
done
protocol=$(mandoc -T ascii -O width=200 "$man/q7net-protocol.7" | col -b)
while read -r name; do
    grep -qw "$name" <<<"$protocol" || fail "q7net-protocol(7) has no $name"
done < <(grep -oE '^    RD_(CMD|RC)_[A-Z0-9_]+' "$source/include/q7net/protocol.h")
for page in q7net-shellexec.8 q7rdctl.1 q7net.3 q7net-protocol.7 q7net-integration.7; do
    mandoc -T lint -W error "$man/$page" || fail "$page"
    # As a reader's terminal shows it, no name is cut in two; beside examples nothing is too wide.
    shown=$(LC_ALL=C.UTF-8 MANWIDTH=80 man -l "$man/$page" 2>/dev/null | col -bx)
    ! grep -E '[A-Za-z0-9_][-‐]$' <<<"$shown" || fail "$page cuts names at 80 columns"
    ! grep -vE '^ {11}' <<<"$shown" | grep -E '.{81}' || fail "$page is wider than 80 columns"
done

# What transcripts say a command runs is in the table of tools; the page of the protocol has programs that are right.
integration=$(mandoc -T ascii -O width=300 "$man/q7net-integration.7" | col -bx)
while read -r tool command; do
    grep -qE "^ *$tool .* $command(,|$)" <<<"$integration" || fail "q7net-integration(7) does not say that $command needs $tool"
done < <(awk '/^>>? / { command = tolower($2); gsub(/_/, "-", command) } /^    \// { print $1, command }' \
    "$source"/tests/transcripts/*.txt | sort -u)
example() { awk -v first="$1" '$0 ~ first { on = 1 } /^```$/ { on = 0 } on' "$source/packaging/man/q7net-protocol.7.scd.in"; }
example '^#include <czmq.h>' | cc -Wall -Wextra -Werror -fsyntax-only -I"$source/include" -x c - ||
    fail "the example in C"
! command -v python3 >/dev/null ||
    example '^import struct' | python3 -c 'import sys; compile(sys.stdin.read(), "example", "exec")' || fail "the example in Python"

# Completion: offers EXPECTED WORD...: what is offered for the last word.
# shellcheck source=/dev/null
. /usr/share/bash-completion/bash_completion
# shellcheck source=/dev/null
. "$source/packaging/completion/q7rdctl"
offers() {
    local expected=$1
    shift
    COMP_LINE="$q7rdctl $*" COMP_WORDS=("$q7rdctl" "$@") COMP_CWORD=$#
    COMP_POINT=${#COMP_LINE} COMPREPLY=()
    _q7rdctl "$q7rdctl" "${COMP_WORDS[$#]}" "${COMP_WORDS[$#-1]}" || true
    [ "${COMPREPLY[*]}" = "$expected" ] || fail "'$*' completes to '${COMPREPLY[*]}', not '$expected'"
}
offers "$(paste -sd' ' <<<"$commands")" ""
offers "stop start restart" --tag 7 service ""
offers "dhclient dhclient6 dhclient6s dhcpd6" service stop dh
offers "off on" mgmt-reconfig rebuild bond0 --ipv6 ""
offers "--macv2 --macv2-mac --macv3 --macv3-mac --macve0" sideband add --mac
offers "--json" link --js
offers "lo" mdns-browse start _a._tcp --interface lo
offers "sideband" help si
offers "/etc/hostname" --socket /etc/hostn

[ "$failures" = 0 ]
