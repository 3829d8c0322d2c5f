# Makes of protocol.h, where each field's comment begins with its offset, what else must say the same:
#
#   awk -f protocol.awk -v make=checks protocol.h        C or C++ that compiles only if the offsets and widths are so
#   awk -f protocol.awk -v make=fields protocol.h        a C++ header with the commands' names and their records' fields
#   awk -f protocol.awk -v make=page protocol.h PAGE     PAGE with %COMMANDS%, %RECORDS% and %RESULTS% filled in
#
# Fails when a field has no offset, a command no record, or the commands are not counted from 1 to RD_CMD_COUNT.

function fail(text)
{
    print "protocol.awk: " text > "/dev/stderr"
    failed = 1
    exit 1
}

# The value of a width: a number, a macro, or RD_REST_FROM(n).
function width(text)
{
    if (text ~ /^RD_REST_FROM\(/) {
        return macro["RD_PAYLOAD_SIZE"] + 12 - substr(text, length("RD_REST_FROM(") + 1)
    }
    return text in macro ? macro[text] : text + 0
}

# A line of protocol.h with its comment, which may go on over several: sets code and comment.
function read_line(    more)
{
    code = $0
    while (code ~ /\/\*/ && code !~ /\*\//) {
        if ((getline more) <= 0) {
            break
        }
        sub(/^ *\*?( |$)/, "", more)
        sub(/^ +/, "", more)
        code = code " " more
    }
    comment = ""
    if (match(code, /\/\*.*\*\//)) {
        comment = substr(code, RSTART + 2, RLENGTH - 4)
        gsub(/^[ *]+| +$/, "", comment)
        code = substr(code, 1, RSTART - 1)
    }
}

# "    char lwr[3][RD_IFNAME_SIZE]; /* @130 of a bond */" as the n-th field of its record.
function add_field(    part, n, i, type)
{
    if (comment !~ /^@[0-9]+( |$)/) {
        fail(record ": no offset beside" code)
    }
    n = ++fields[record]
    gsub(/^ *(struct )?|; *$/, "", code)
    split(code, part, /[ \[\]]+/)
    type = part[1]
    name[record, n] = part[2]
    offset[record, n] = substr(comment, 2) + 0
    sub(/^@[0-9]+ ?/, "", comment)
    meaning[record, n] = comment
    whole[record, n] = code ~ /RD_REST_FROM/
    is_text[record, n] = type == "char"
    is_route[record, n] = type == "StaticRouteEntry"
    # Of an array of texts, and of an array of records, the first number counts; the last of a text is its width.
    count[record, n] = 1
    wide[record, n] = type ~ /32_t$/ ? 4 : type == "StaticRouteEntry" ? 116 : 1
    if (part[3] != "" && (part[4] != "" || type != "char")) {
        count[record, n] = width(part[3])
    }
    if (type == "char") {
        wide[record, n] = width(part[4] != "" ? part[4] : part[3])
    }
    type_of[record, n] = type == "char" ? "text, " wide[record, n] : type == "uint8_t" ? "unsigned 8" : \
                         type == "uint32_t" ? "unsigned 32" : type == "int32_t" ? "signed 32" : "below"
}

FNR == NR {
    read_line()
    if (code ~ /^#define RD_[A-Z0-9_]+ [0-9]+/) {
        split(code, word, " ")
        macro[word[2]] = word[3]
    } else if (code ~ /^enum /) {
        split(code, word, " ")
        enumeration = word[2]
        value = 0
    } else if (code ~ /^struct [A-Za-z0-9]+ \{/) {
        split(code, word, " ")
        record = word[2]
        about[record] = above
    }
    if (enumeration != "") {
        rest = code
        sub(/^enum [A-Za-z0-9]+ \{/, "", rest)
        while (match(rest, /RD_[A-Z0-9_]+( = -?[0-9]+)?/)) {
            entry = substr(rest, RSTART, RLENGTH)
            rest = substr(rest, RSTART + RLENGTH)
            split(entry, word, " ")
            value = word[3] != "" ? word[3] + 0 : value
            if (enumeration == "CommandCode") {
                command[++commands] = word[1]
                if (value != commands) {
                    fail(word[1] " is not " commands)
                }
            } else if (enumeration == "ResultCode") {
                results = results row(value, word[1], comment)
            } else {
                # A number stays with its name where a column has room for both.
                values[enumeration] = values[enumeration] (values[enumeration] == "" ? "" : ", ") value \
                    (length(word[1]) > 24 ? " " : "\302\240") word[1]
            }
            value++
        }
        enumeration = code ~ /\}/ ? "" : enumeration
    } else if (record == "RequestFrame" && code ~ /^ +struct [A-Za-z0-9]+Request [a-z0-9_]+;/) {
        gsub(/;/, "", code)
        split(code, word, " ")
        record_of[word[3]] = word[2]
    } else if (code ~ /^\};/) {
        record = ""
    } else if (record != "" && record != "RequestFrame" && code ~ /;/) {
        add_field()
    }
    # What stands above a record, and above the enumerations that belong to it.
    above = comment != "" && code ~ /^ *$/ ? comment : $0 ~ /^enum/ ? above : ""
    next
}

# Texts of the header, for scdoc: underscores and the like have a meaning there.
function escaped(text)
{
    gsub(/[_*\\]/, "\\\\&", text)
    return text
}

function row(first, second, third)
{
    return sprintf("|  %s\n:  %s\n:  %s\n", first, escaped(second), escaped(third))
}

# What a field means, with the values of its enumeration.
function told(record, n,    text, first)
{
    text = meaning[record, n]
    first = text
    sub(/[^A-Za-z0-9].*/, "", first)
    if (first in values) {
        sub(/^[A-Za-z0-9]+[:;,]? ?/, "", text)
        text = values[first] (text == "" ? "" : "; " text)
    }
    return text
}

function table(record,    n, text, end)
{
    text = "|[ *offset*\n:[ *field*\n:[ *type*\n:< *meaning*\n"
    for (n = 1; n <= fields[record]; n++) {
        if (n > 1 && offset[record, n] > end) {
            text = text sprintf("|  %s\n:  \n:  %d bytes\n:  reserved\n", (record ~ /Entry$/ ? "+" : "") end, \
                offset[record, n] - end)
        }
        end = offset[record, n] + count[record, n] * wide[record, n]
        text = text sprintf("|  %s\n:  %s\n:  %s%s\n:  %s\n", (record ~ /Entry$/ ? "+" : "") offset[record, n], \
            escaped(name[record, n]), count[record, n] > 1 ? count[record, n] " of " : "", type_of[record, n], \
            escaped(told(record, n)))
    }
    return text
}

function record_by(code)
{
    return record_of[tolower(substr(command[code], length("RD_CMD_") + 1))]
}

FNR == 1 && NR > 1 { page = 1 }

/^%COMMANDS%$/ {
    for (c = 1; c <= commands; c++) {
        printf "%s", row(c, command[c], record_by(c) == "" ? "none" : record_by(c))
    }
    next
}

/^%RECORDS%$/ {
    for (c = 1; c <= commands; c++) {
        record = record_by(c)
        if (record == "" || record in shown) {
            continue
        }
        shown[record] = 1
        printf "## %s\n\n%s\n\n%s\n", record, escaped(about[record]), table(record)
        if (record == "StaticAddrsRequest") {
            printf "Each route:\n\n%s\n", table("StaticRouteEntry")
        }
    }
    next
}

/^%RESULTS%$/ { printf "%s", results; next }

{ print }

function print_checks(    record, n, base, field)
{
    print "#include <q7net/protocol.h>\n#include <assert.h>\n#include <stddef.h>"
    print "#define OF(record, field) (sizeof(((struct record *)0)->field))"
    printf "static_assert(RD_CMD_COUNT == %d, \"\");\n", commands
    print "static_assert(offsetof(struct RequestFrame, payload) == 12 && sizeof(struct RequestFrame) == 1036, \"\");"
    print "static_assert(sizeof(struct ReplyFrame) == 1036 && sizeof(struct StaticRouteEntry) == 116, \"\");"
    for (record in fields) {
        base = record ~ /Request$/ ? 12 : 0
        for (n = 1; n <= fields[record]; n++) {
            field = name[record, n]
            printf "static_assert(offsetof(struct %s, %s) == %d && OF(%s, %s) == %d, \"%s.%s\");\n", record, field, \
                offset[record, n] - base, record, field, count[record, n] * wide[record, n], record, field
            if (whole[record, n]) {
                printf "static_assert(sizeof(struct %s) == RD_PAYLOAD_SIZE, \"%s\");\n", record, record
            }
        }
    }
}

function print_field(code, at, record, n,    i)
{
    for (i = 0; i < count[record, n]; i++) {
        printf "    {%d, %d, %d, %s, \"%s\"},\n", code, at + i * wide[record, n], wide[record, n], \
            is_text[record, n] ? "true" : "false", name[record, n]
    }
}

function print_fields(    c, i, k, n, record)
{
    print "#include <cstddef>\n#include <cstdint>"
    print "static constexpr const char *kCommands[] = {\n    \"\","
    for (c = 1; c <= commands; c++) {
        printf "    \"%s\",\n", substr(command[c], length("RD_CMD_") + 1)
    }
    print "};\nstruct Field {\n    uint32_t cmd;\n    size_t offset, size;\n    bool is_text;\n    const char *name;\n};"
    print "static constexpr Field kFields[] = {"
    for (c = 1; c <= commands; c++) {
        record = record_by(c)
        for (n = 1; n <= fields[record]; n++) {
            if (!is_route[record, n]) {
                print_field(c, offset[record, n], record, n)
                continue
            }
            for (i = 0; i < count[record, n]; i++) {
                for (k = 1; k <= fields["StaticRouteEntry"]; k++) {
                    print_field(c, offset[record, n] + i * wide[record, n] + offset["StaticRouteEntry", k], \
                        "StaticRouteEntry", k)
                }
            }
        }
    }
    print "};"
}

END {
    if (failed) {
        exit 1
    }
    for (c = 1; c <= commands; c++) {
        if (record_by(c) == "" && command[c] != "RD_CMD_TERMINATE") {
            fail("the frame has no member for " command[c])
        }
    }
    if (commands == 0 || commands != macro["RD_CMD_COUNT"]) {
        fail("RD_CMD_COUNT is not " commands)
    }
    if (make == "checks") {
        print_checks()
    } else if (make == "fields") {
        print_fields()
    }
}
