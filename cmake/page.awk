# What scdoc makes, so that groff breaks no line inside a name:
#
#   awk -f page.awk FILE     FILE with hyphens that are no places to break, and no hyphens of groff's own; short cells of
#                            tables, but for the last of a row, are no blocks of text, which groff would first try to break

# Text, but for requests and \h'-4': the hyphen is the character that one types.
!/^[.']/ {
    gsub(/'-/, "'\001")
    gsub(/-/, "\\-")
    gsub(/\001/, "-")
}

# scdoc does so before .TH, which undoes it.
/^\.TH / { $0 = $0 "\n.nh" }

/^\.TS/ { table = $0; next }

table == "" { print; next }

{ table = table "\n" $0 }

/^\.TE/ {
    while (match(table, /T[{]\n[^\n]*\nT[}]\t/)) {
        cell = substr(table, RSTART + 3, RLENGTH - 7)
        short = (length(cell) <= 20 || cell !~ / /) && cell !~ /^[.']/
        printf "%s%s", substr(table, 1, RSTART - 1), (short ? cell : "T{\n" cell "\nT}") "\t"
        table = substr(table, RSTART + RLENGTH)
    }
    print table
    table = ""
}
