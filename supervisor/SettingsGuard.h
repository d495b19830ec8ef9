#pragma once

#include <cstddef>
#include <string_view>

constexpr std::size_t longestSettings = 8192; // bytes, also when unpacked; the one of the package has 1500

/** True if the framework may parse a settings file with these bytes. Its parser can read past the end of a broken file,
    run out of stack or never return, so only the following may reach it:

    - XML in UTF-8, or in UTF-16 with its mark, of at most longestSettings bytes, without document type and CDATA, with
      open tags at most 2 deep, with no entities but XML's own five and characters by number (below U+D800), and with "<?" only
      once, before the first tag. Comments may hold anything. A zero ends the text.
    - The framework's binary form, plain or compressed, with strings in UTF-8 of at most longestSettings bytes together.
*/
bool isHarmlessToParse (std::string_view bytes);
