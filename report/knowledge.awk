# awk -f knowledge.awk OUTPUT=rows|table docs/log.md: makes C++ of the tables of the page. "rows" gives the names of the rows,
# "table" their contents. Fails at a row without a name or with an unknown weight.
function fail(text) { print FILENAME ":" FNR ": " text > "/dev/stderr"; failed = 1; exit 1 }

function quoted(text) {
    gsub(/\\/, "\\\\", text)
    gsub(/"/, "\\\"", text)
    return "\"" text "\""
}

# Without the marks of the page: links, code, bold.
function plain(text) {
    while (match(text, /\[[^]]*\]\([^)]*\)/)) {
        link = substr(text, RSTART + 1, RLENGTH - 2)
        sub(/\].*/, "", link)
        text = substr(text, 1, RSTART - 1) link substr(text, RSTART + RLENGTH)
    }
    gsub(/`|\*\*/, "", text)
    return text
}

# All texts in backquotes, as C++ strings.
function codes(text,    list) {
    while (match(text, /`[^`]+`/)) {
        list = list (list ? ", " : "") quoted(substr(text, RSTART + 1, RLENGTH - 2))
        text = substr(text, RSTART + RLENGTH)
    }
    return list
}

# application-absent: applicationAbsent
function identifier(name,    parts, count, i) {
    count = split(name, parts, "-")
    name = parts[1]
    for (i = 2; i <= count; ++i) name = name toupper(substr(parts[i], 1, 1)) substr(parts[i], 2)
    return name
}

# Prints a row. The finding is "`name` weight", perhaps with ", weight again", ", weight without GUI", or ", weight with
# `text` or `text`".
function row(patterns, hasStamp, meaning, advice, finding,    name, weights, weight, other, condition) {
    if (finding !~ /^`[a-z-]+` (nothing|look|act)(, (nothing|look|act) (again|without GUI|with `[^`]+`( or `[^`]+`)*))?$/)
        fail("the finding is no name and weight: " finding)
    name = finding
    sub(/^`/, "", name)
    sub(/`.*/, "", name)
    if (name in named) fail("two rows have the name " name)
    named[name] = 1
    split(finding, weights, /, /)
    weight = weights[1]
    sub(/.* /, "", weight)
    other = weights[2] ? weights[2] : weight
    condition = other ~ / again/ ? "again" : other ~ / without/ ? "withoutGui" : other ~ / with/ ? "withText" : "never"
    texts = codes(weights[2])
    sub(/ .*/, "", other)
    if (OUTPUT == "rows") printf "    %s,\n", identifier(name)
    else printf "    { %s, { %s }, %s,\n      %s,\n      %s,\n      Weight::%s, Weight::%s, Condition::%s, { %s } },\n",
        quoted(name), patterns, hasStamp ? "true" : "false", quoted(plain(meaning)), quoted(plain(advice)), weight, other,
        condition, texts
}

/^## / { isTable = /^## Every line/ }
!isTable || !/^\|/ || /^\|---/ { next }
{ count = split($0, cell, / *\| */) }
cell[2] == "Line" || cell[2] == "Conclusion" { hasPattern = cell[2] == "Line"; columns = count; next }
count != columns { fail("the row has " count - 2 " cells") }
hasPattern { row(codes(cell[2]), cell[2] !~ /\(no time\)/, cell[4], cell[5], cell[6]) }
!hasPattern { row("", 0, cell[2] ": " cell[3], cell[4], cell[5]) }
END { if (!failed && !columns) { print "no tables" > "/dev/stderr"; exit 1 } }
