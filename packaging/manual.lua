-- Makes a manual page from the pages: keeps the marked passages in the order below and formats them for a terminal of
-- 80 columns.

local sections_of = {
    ['ORBISdaemon'] = {
        'SYNOPSIS', 'DESCRIPTION', 'ARGUMENTS', 'EXIT STATUS', 'SIGNALS', 'SUPERVISION', 'BACK-OFF', 'COOLING',
        'IDENTITY', 'SETTINGS', 'FILES', 'LOG',
    },
    ['orbisdaemon-log-report'] = { 'SYNOPSIS', 'DESCRIPTION', 'OPTIONS', 'EXIT STATUS', 'LIMITS', 'JSON', 'SEE ALSO' },
}

local widest_table = 71 -- columns: 80 without the indent
local column_gap = 3

-- Left-aligned, no divided words, one blank between sentences, so that log lines look as in the log.
local layout = '.ad l\n.nh\n.ss 12 0'

-- Returns the blocks between each mark and its end, by section. A mark that is unknown or has no end stops the build,
-- because text would be lost.
local function marked_passages (sections, blocks)
    local passages, current = {}, nil

    for _, section in ipairs (sections) do
        passages[section] = pandoc.List ()
    end

    for _, block in ipairs (blocks) do
        local mark = block.t == 'RawBlock' and block.text:match '^<!%-%- (.-) %-%->%s*$'
        local section = mark and mark:match '^manual: (.+)$'

        if section then
            assert (passages[section], 'no section is called ' .. section)
            assert (not current, (current or '') .. ' is not ended before ' .. section)
            current = section
        elseif mark == 'end' then
            assert (current, 'an end without a beginning')
            current = nil
        elseif current then
            passages[current]:insert (block)
        end
    end

    assert (not current, (current or '') .. ' is not ended')
    return passages
end

local function cells (row)
    return row:map (function (cell) return pandoc.utils.blocks_to_inlines (cell) end)
end

local function width_of (inlines)
    return utf8.len (pandoc.utils.stringify (inlines))
end

-- The cells after the first as sentences: "Level: 1. Meaning: ...". A single cell needs no column name.
local function sentences (header, row)
    local text = pandoc.List ()

    for column = 2, #row do
        local cell = row[column]

        if #cell > 0 then
            if #text > 0 then text:insert (pandoc.Space ()) end

            if #row > 2 then
                text:extend { pandoc.Emph (header[column]), pandoc.Str ':', pandoc.Space () }
            end

            text:extend (cell)

            if #row > 2 and not pandoc.utils.stringify (cell):match '[.!]$' then
                text:insert (pandoc.Str '.')
            end
        end
    end

    return { pandoc.Plain (text) }
end

-- A row for tbl. pandoc's own rows are text blocks, which wrap even where there is room.
local function line_of (row)
    local texts = row:map (function (cell)
        return (pandoc.write (pandoc.Pandoc { pandoc.Plain (cell) }, 'man', { wrap_text = 'wrap-none' }):gsub ('\n', ''))
    end)

    return '\\&' .. table.concat (texts, '@')
end

-- A table that fits stays a table. In any other, each row becomes a paragraph with the first cell as its tag.
local function Table (element)
    local simple = pandoc.utils.to_simple_table (element)
    local header, rows = cells (simple.headers), simple.rows:map (cells)
    local width = (#header - 1) * column_gap

    for column = 1, #header do
        local widest = width_of (header[column])

        for _, row in ipairs (rows) do
            widest = math.max (widest, width_of (row[column]))
        end

        width = width + widest
    end

    if width > widest_table then
        return pandoc.DefinitionList (rows:map (function (row) return { row[1], { sentences (header, row) } } end))
    end

    local lines = { '.PP', '.TS', 'nokeep tab(@);', ('l '):rep (#header) .. '.', line_of (header), '_' }

    for _, row in ipairs (rows) do
        table.insert (lines, line_of (row))
    end

    table.insert (lines, '.TE')
    return pandoc.RawBlock ('man', table.concat (lines, '\n'))
end

-- No further indent than the text, so that a log line fits.
local function CodeBlock (block)
    local text = block.text:gsub ('\\', '\\e'):gsub ('-', '\\-'):gsub (' ', '\\ '):gsub ('[^\n]+', '\\&%0')
    return pandoc.RawBlock ('man', '.PP\n.nf\n' .. text .. '\n.fi')
end

local for_a_terminal = {
    Table = Table,
    CodeBlock = CodeBlock,
    Header = function (header) return pandoc.Header (2, header.content) end,
    Code = function (code) return pandoc.Strong { pandoc.Str (code.text) } end,
}

function Pandoc (document)
    local title = pandoc.utils.stringify (document.meta.title)
    local sections = sections_of[title]
    local passages = marked_passages (sections, document.blocks)
    local blocks = pandoc.List {
        pandoc.RawBlock ('man', layout),
        pandoc.Header (1, 'NAME'),
        pandoc.Para { pandoc.Str (title .. ' - '), pandoc.Str (pandoc.utils.stringify (document.meta.summary)) },
    }

    for _, section in ipairs (sections) do
        assert (#passages[section] > 0, 'nothing is marked for ' .. section)
        blocks:insert (pandoc.Header (1, section))
        blocks:extend (pandoc.walk_block (pandoc.Div (passages[section]), for_a_terminal).content)
    end

    return pandoc.Pandoc (blocks, document.meta)
end
