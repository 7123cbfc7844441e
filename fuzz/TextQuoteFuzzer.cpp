// The quoted form of the host's output lines read back, on arbitrary texts: quoting any
// text and reading it back gives that text; reading any input either fails or gives a text
// whose quoted form reads back the same.

#include "FuzzSupport.h"
#include "TextQuote.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string input = fuzzing::toText(data, size);
    if (unquoteText(quoteText(input)) != input) fuzzing::fail("a quoted text reads back otherwise", quoteText(input));
    if (const auto text = unquoteText(input)) {
        if (unquoteText(quoteText(*text)) != *text) fuzzing::fail("a text read from quotes does not survive quoting", input);
    }
    return 0;
}
