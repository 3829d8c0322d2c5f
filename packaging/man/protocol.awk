# Fills the records, commands and codes that protocol.h declares into the lines %COMMANDS%, %RECORDS% and %RESULTS% of a
# page: awk -f protocol.awk protocol.h PAGE. Fails when a command has no record described, or an offset that the header
# asserts is not the one worked out here.

function fail(text)
{
    print "protocol.awk: " text > "/dev/stderr"
    failed = 1
    exit 1
}

# The value of a width: a number, a macro, or RD_REST_FROM(n).
function width(text)
{
    if (match(text, /^RD_REST_FROM\(/)) {
        return macro["RD_PAYLOAD_SIZE"] - width(substr(text, RLENGTH + 1, length(text) - RLENGTH - 1))
    }
    return text in macro ? macro[text] : text + 0
}

# Texts of the header, for scdoc: underscores and the like have a meaning there.
function escaped(text)
{
    gsub(/[_*\\]/, "\\\\&", text)
    return text
}

function add_field(line, comment,    name, base, count, wide, type, dimensions, at)
{
    match(line, /^ *(struct )?[A-Za-z0-9_]+ /)
    type = substr(line, 1, RLENGTH)
    gsub(/^ *(struct )?| *$/, "", type)
    name = substr(line, RLENGTH + 1)
    sub(/;.*/, "", name)
    base = name
    sub(/\[.*/, "", base)
    dimensions = substr(name, length(base) + 1)
    count = wide = 1
    if (dimensions ~ /\]\[/) { # fields of text
        count = width(substr(dimensions, 2, index(dimensions, "]") - 2))
        dimensions = substr(dimensions, index(dimensions, "]") + 1)
    }
    if (dimensions != "") {
        wide = width(substr(dimensions, 2, length(dimensions) - 2))
    }
    if (type == "StaticRouteEntry") {
        count = wide
        wide = size[type]
        at = 4
    } else if (type ~ /^u?int32_t$/) {
        wide *= 4
        at = 4
    } else {
        at = 1
    }
    position = int((position + at - 1) / at) * at
    offset[record, base] = position
    stride[record, base] = wide
    if (base != "reserved") {
        type = type == "char" ? "text, " wide : type == "uint8_t" ? "unsigned 8" : type == "uint32_t" ? "unsigned 32" : \
               type == "int32_t" ? "signed 32" : "below"
        row[record] = row[record] sprintf("|  %s%s\n:  %s\n:  %s%s\n:  %s\n", record ~ /Entry$/ ? "+" : "", \
            position + (record ~ /Entry$/ ? 0 : 12), escaped(base), count > 1 ? count " of " : "", type, escaped(comment))
    }
    position += wide * count
}

FNR == NR && /^#define RD_[A-Z0-9_]+ [0-9]+/ { macro[$2] = $3 }

FNR == NR {
    # A comment may go on over several lines.
    text = $0
    while (text ~ /\/\*/ && text !~ /\*\//) {
        if ((getline more) <= 0) {
            break
        }
        sub(/^ *\*?( |$)/, "", more)
        sub(/^ +/, "", more)
        text = text " " more
    }
    comment = ""
    if (match(text, /\/\*.*\*\//)) {
        comment = substr(text, RSTART + 2, RLENGTH - 4)
        gsub(/^[ *]+| +$/, "", comment)
        text = substr(text, 1, RSTART - 1)
    }

    if (text ~ /^enum /) {
        enumeration = $2
    } else if (enumeration == "CommandCode" && text ~ /RD_CMD_/) {
        split(text, part, /[ ,=]+/)
        name_of[++commands] = part[2]
        if (part[3] != commands) {
            fail(part[2] " is not " commands)
        }
    } else if (enumeration == "ResultCode" && text ~ /RD_RC_/) {
        split(text, part, /[ ,=]+/)
        results = results sprintf("|  %s\n:  %s\n:  %s\n", part[3], escaped(part[2]), escaped(comment))
    } else if (text ~ /^struct [A-Za-z]+ \{/) {
        record = $2
        position = 0
        about[record] = above
    } else if (text ~ /^\};?/) {
        size[record] = position
        record = enumeration = ""
    } else if (record ~ /(Request|Entry)$/ && text ~ /;/) {
        add_field(text, comment)
    } else if (record == "RequestFrame" && text ~ /struct [A-Za-z]+Request [a-z_]+;/) {
        split(text, part, /[ ;]+/)
        record_of[part[4]] = part[3]
        member_of[part[3]] = part[4]
    } else if (text ~ /^RD_AT\(/) {
        split(text, part, /[(., )]+/)
        match(part[3], /\[[0-9]+\]/)
        element = RSTART > 0 ? substr(part[3], RSTART + 1, RLENGTH - 2) : 0
        sub(/\[.*/, "", part[3])
        if (part[2] != "payload" && offset[record_of[part[2]], part[3]] + element * stride[record_of[part[2]], part[3]] + 12 != part[4]) {
            fail("the offset of " part[2] "." part[3] " is not " part[4])
        }
        checked++
    }
    above = comment != "" && text ~ /^ *$/ ? comment : ""
    next
}

/^%COMMANDS%$/ {
    for (code = 1; code <= commands; code++) {
        found = ""
        for (record in about) {
            if (about[record] ~ "(^|[ ,])" name_of[code] "[:,]") {
                found = record
            }
        }
        if (found == "" && name_of[code] != "RD_CMD_TERMINATE") {
            fail("no record of " name_of[code])
        }
        record_by[code] = found
        printf "|  %d\n:  %s\n:  %s\n", code, escaped(name_of[code]), found == "" ? "none" : found
    }
    next
}

/^%RECORDS%$/ {
    for (code = 1; code <= commands; code++) {
        record = record_by[code]
        if (record == "" || record in told) {
            continue
        }
        told[record] = 1
        printf "## %s\n\n%s (member _%s_ of the frame)\n\n", record, escaped(about[record]), member_of[record]
        printf "|[ *offset*\n:[ *field*\n:[ *type*\n:[ *meaning*\n%s\n", row[record]
        if (record == "StaticAddrRequest") {
            printf "Each route, of %d bytes:\n\n", size["StaticRouteEntry"]
            printf "|[ *offset*\n:[ *field*\n:[ *type*\n:[ *meaning*\n%s\n", row["StaticRouteEntry"]
        }
    }
    next
}

/^%RESULTS%$/ { printf "%s", results; next }

{ print }

END {
    if (!failed && (commands < 1 || checked < 100)) {
        fail("protocol.h was not understood")
    }
}
