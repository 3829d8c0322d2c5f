# Makes a header with the names of all commands and the fields of their records, from protocol.h and what
# packaging/man/protocol.awk makes of the lines %COMMANDS% and %RECORDS%: awk -f fields.awk protocol.h DESCRIBED.

BEGIN {
    print "#include <cstddef>\n#include <cstdint>"
    print "static constexpr const char *kCommands[] = {\"\","
}

FNR == NR {
    if (/^ *RD_CMD_/) {
        if ($3 + 0 != ++commands) { # they are found by their place
            print "fields.awk: the commands are not numbered from 1 on" > "/dev/stderr"
            exit 1
        }
        printf "\"%s\",\n", substr($1, length("RD_CMD_") + 1)
    }
    next
}

FNR == 1 {
    print "};"
    print "struct Field {\n    uint32_t cmd;\n    size_t offset, size;\n    bool is_text;\n    const char *name;\n};"
    print "static constexpr Field kFields[] = {"
}

END { print "};" }

function put(at, name, type,    count, wide, part, i)
{
    count = match(type, /^[0-9]+ of /) ? type + 0 : 1
    wide = type ~ /text/ ? substr(type, index(type, ",") + 2) + 0 : type ~ /32$/ ? 4 : 1
    for (i = 0; i < count; i++) {
        for (part in commands_of) {
            if (commands_of[part] == record) {
                printf "{%d, %d, %d, %s, \"%s\"},\n", part, at + i * wide, wide, type ~ /text/ ? "true" : "false", name
            }
        }
    }
}

/^## / { record = $2 }
/^Each route, of / { route = $4 }
/^\|  / { offset = $2; cell = 0; next }
!/^:  / { next }
{ cell++; text[cell] = substr($0, 4); gsub(/\\/, "", text[cell]) }
record == "" && cell == 2 { commands_of[offset] = text[2] }
record != "" && cell == 2 && text[2] ~ /below$/ { routes = offset; route_count = text[2] + 0; next }
record != "" && cell == 2 && offset ~ /^\+/ {
    for (k = 0; k < route_count; k++) {
        put(routes + k * route + offset, text[1], text[2])
    }
    next
}
record != "" && cell == 2 { put(offset, text[1], text[2]) }
