# The tools that the daemon runs, each with the commands that need it, from the lines in its code:
#
#   awk -f tools.awk daemon/*.cpp daemon/*/*.cpp PAGE     PAGE with %TOOLS% filled in
#
# A definition needs the tools of its own lines and of all that it names. Nothing is known of C++ but how this code is laid
# out: what stands in the first column begins a definition, and ends it. Fails when the dispatcher's commands, or a line
# with a tool that none of them reaches, show that this is no longer so.

function fail(text)
{
    print "tools.awk: " text > "/dev/stderr"
    failed = 1
    exit 1
}

FNR == 1 { own = "" }

FILENAME !~ /\.cpp$/ { page[++lines] = $0; next }

/^ *\/\// { next }

/^ +case RD_CMD_[A-Z0-9_]+: \*rc = rd_[a-z0-9_]+\(/ {
    command[++commands] = substr($2, length("RD_CMD_") + 1, length($2) - length("RD_CMD_:"))
    command[commands] = tolower(command[commands])
    gsub(/_/, "-", command[commands])
    handler[commands] = substr($5, 1, index($5, "(") - 1)
    next
}

/^[A-Za-z]/ && !/^(using|namespace|template)/ {
    own = $0
    sub(/ *[[({=;].*/, "", own)
    sub(/.*[ *&:]/, "", own)
    if (!/^static/) {
        home[own] = FILENAME
    }
    own = FILENAME SUBSEP own
}

own != "" {
    line = $0
    sub(/^ +/, "", line)
    body[own] = body[own] line
    if (/^}/ || /^[A-Za-z].*;$/) {
        own = ""
    }
}

# Notes that a command needs what a definition needs.
function walk(c, file, name,    rest, tool, words, n, i)
{
    if (!((file, name) in body)) {
        file = home[name]
    }
    if (!((file, name) in body) || (c, file, name) in seen) {
        return
    }
    seen[c, file, name] = 1
    rest = body[file, name]
    while (match(rest, /rd_[a-z_]+<([0-9], )?"\/[^ "]+/)) {
        tool = substr(rest, RSTART, RLENGTH)
        rest = substr(rest, RSTART + RLENGTH)
        sub(/.*"/, "", tool)
        if (!((tool, c) in needs)) {
            needs[tool, c] = 1
            needed_by[tool] = needed_by[tool] (needed_by[tool] == "" ? "" : ", ") c "\302\240" command[c]
        }
    }
    rest = body[file, name]
    gsub(/"[^"]*"/, "", rest)
    n = split(rest, words, /[^A-Za-z0-9_]+/)
    for (i = 1; i <= n; i++) {
        walk(c, file, words[i])
    }
}

END {
    if (failed) {
        exit 1
    }
    if (commands == 0 || lines == 0) {
        fail("no commands, or no page")
    }
    for (c = 1; c <= commands; c++) {
        walk(c, "", handler[c])
    }
    for (own in body) {
        while (match(body[own], /rd_[a-z_]+<([0-9], )?"\/[^ "]+/)) {
            tool = substr(body[own], RSTART, RLENGTH)
            sub(/.*"/, "", tool)
            if (!(tool in needed_by)) {
                fail("no command needs " tool)
            }
            body[own] = substr(body[own], RSTART + RLENGTH)
        }
    }
    for (i = 1; i <= lines; i++) {
        if (page[i] != "%TOOLS%") {
            print page[i]
            continue
        }
        for (n = 0; ; n++) { # by their names
            first = ""
            for (tool in needed_by) {
                first = first == "" || tool < first ? tool : first
            }
            if (first == "") {
                break
            }
            text = "|  " first "\n:  " needed_by[first]
            gsub(/_/, "\\_", text)
            print text
            delete needed_by[first]
        }
    }
}
