#pragma once

#include <cstddef>
#include <string_view>

constexpr std::size_t longestSettings = 8192; // bytes, after unpacking too; the package's file has less than 2048

/** True if the framework may parse a settings file with these bytes. On a broken file its parser can read past the end, run
    out of stack or never return. So only these forms may reach it:

    - XML in UTF-8, or in UTF-16 with its mark, of at most longestSettings bytes. It has no document type and no CDATA, at
      most 2 open tags, and "<?" only in one header "<?xml ... ?>" before the first tag. Its only entities are XML's own
      five and characters by number below U+D800. Comments may hold any valid text. A zero ends the text.
    - The framework's binary form, plain or compressed, with strings in UTF-8 of at most longestSettings bytes together.
*/
bool isHarmlessToParse (std::string_view bytes);
