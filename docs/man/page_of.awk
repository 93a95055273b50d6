# A page of docs/ in the language of scdoc(5), so that nothing is written twice: headings, tables, blocks of four blanks,
# `code` and [links](elsewhere).

function escaped(text) {
    gsub(/[\\_*~#|]/, "\\\\&", text)
    return text
}

# Outside of code all stands for itself; of a link its words stay.
function inline(text, parts, count, i, made) {
    text = without_links(text)
    count = split(text, parts, "`")
    for (i = 1; i <= count; ++i) {
        made = made (i % 2 == 0 ? "*" escaped(parts[i]) "*" : escaped(parts[i]))
    }
    return made
}

function without_links(text, begin, rest) {
    while (match(text, /\[[^]]*\]\([^)]*\)/)) {
        begin = substr(text, 1, RSTART - 1)
        rest = substr(text, RSTART + RLENGTH)
        text = substr(text, RSTART + 1, RLENGTH - 2)
        sub(/\]\(.*/, "", text)
        text = begin text rest
    }
    return text
}

function end_block() {
    if (in_block) {
        sub(/\n+$/, "\n", block)
        printf "```\n%s```\n\n", block
    }
    in_block = 0
    block = ""
}

/^# / { print "# DESCRIPTION"; next }
/^## / { end_block(); print "# " toupper(escaped(substr($0, 4))); rows = 0; next }
/^    / { in_block = 1; block = block substr($0, 5) "\n"; next }
/^$/ && in_block { block = block "\n"; next }
{ end_block() }
/^\|[-|]+$/ { next }
/^\|/ {
    count = split($0, cells, /[ ]*\|[ ]*/)
    for (i = 2; i < count; ++i) {
        cell = inline(cells[i])
        print (i > 2 ? ":" : "|") (rows == 0 ? "[ *" cell "*" : "  " cell)
    }
    ++rows
    next
}
/^$/ { rows = 0; print; next }
{ print inline($0) }
END { end_block() }
