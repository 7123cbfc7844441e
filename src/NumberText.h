#pragma once
// Cleaning of number text: what the service keeps of each character when it takes the
// punctuation out of a number or keeps only what can be dialled. Every number a client sends
// is cleaned before it is converted, so each character is classified by one look-up in a
// 256-entry table made at compile time, and the text is rewritten in place in one pass
// (no second string, no allocation).
//
// Also the list matching of the digit string utilities without copies of the list's
// entries. Stateless and lock-free: any thread. Used by DigitAnalysisService's digit string
// utilities, which keep their log lines; these functions write none.

#include <cctype>
#include <cstddef>
#include <string>

namespace numbertext {

// What each byte is, as bits.
enum CharacterClass : unsigned char {
    kPunctuation = 1,  // " .,;!?": dropped by removePunctuation
    kDialable = 2,     // "0123456789*#": kept by keepDialable
    kMayBeLower = 4,   // lower-case ASCII and every byte above 0x7f: std::toupper may change it
};

struct CharacterTable {
    unsigned char classes[256];
};

constexpr CharacterTable makeCharacterTable()
{
    CharacterTable table{};
    for (const char c : {' ', '.', ',', ';', '!', '?'}) table.classes[static_cast<unsigned char>(c)] |= kPunctuation;
    for (const char c : {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9', '*', '#'}) {
        table.classes[static_cast<unsigned char>(c)] |= kDialable;
    }
    for (int c = 'a'; c <= 'z'; ++c) table.classes[c] |= kMayBeLower;
    for (int c = 0x80; c <= 0xff; ++c) table.classes[c] |= kMayBeLower;
    return table;
}

inline constexpr CharacterTable kCharacters = makeCharacterTable();

inline unsigned char classOf(char c) { return kCharacters.classes[static_cast<unsigned char>(c)]; }

// Drops every character of " .,;!?" and passes every other one through std::toupper, in
// place. Only lower-case letters and bytes above 0x7f are given to std::toupper, the only
// ones it can change (in the "C" locale only a to z), so the result is the same as passing
// every character through it, whatever the process's locale.
inline void removePunctuation(std::string& text)
{
    char* const begin = &text[0];
    const std::size_t length = text.size();
    std::size_t kept = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const char c = begin[i];
        const unsigned char what = classOf(c);
        if ((what & kPunctuation) != 0) continue;
        begin[kept++] = (what & kMayBeLower) != 0 ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c;
    }
    text.resize(kept);
}

// removePunctuation of `from`, written to `to` (which keeps its buffer).
inline void copyWithoutPunctuation(const std::string& from, std::string& to)
{
    to.clear();
    for (const char c : from) {
        const unsigned char what = classOf(c);
        if ((what & kPunctuation) != 0) continue;
        to.push_back((what & kMayBeLower) != 0 ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c);
    }
}

// Keeps only the characters of "0123456789*#", in order, and a "+" in the first position;
// everything else is dropped, in place.
inline void keepDialable(std::string& text)
{
    char* const begin = &text[0];
    const std::size_t length = text.size();
    std::size_t kept = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const char c = begin[i];
        if ((classOf(c) & kDialable) != 0 || (c == '+' && i == 0)) begin[kept++] = c;
    }
    text.resize(kept);
}

// Whether `token` (`length` bytes), with its punctuation removed as removePunctuation does,
// is not empty and begins `number`.
inline bool cleanedTokenBegins(const std::string& number, const char* token, std::size_t length)
{
    std::size_t compared = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const char c = token[i];
        const unsigned char what = classOf(c);
        if ((what & kPunctuation) != 0) continue;
        const char upper = (what & kMayBeLower) != 0 ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c;
        if (compared == number.size() || number[compared] != upper) return false;
        ++compared;
    }
    return compared > 0;
}

// The first entry of a comma list that, with its punctuation removed, is not empty and
// begins `number`: true, and the cleaned entry in `matched`; false, and `matched` untouched,
// when there is none. Runs of commas and leading or trailing ones make no entries; blanks
// inside an entry are punctuation and vanish.
inline bool firstListEntryBeginning(const std::string& number, const std::string& list, std::string& matched)
{
    const std::size_t size = list.size();
    std::size_t position = 0;
    while (position < size) {
        if (list[position] == ',') {
            ++position;
            continue;
        }
        const std::size_t comma = list.find(',', position);
        const std::size_t end = comma == std::string::npos ? size : comma;
        if (cleanedTokenBegins(number, list.data() + position, end - position)) {
            matched.assign(list, position, end - position);
            removePunctuation(matched);
            return true;
        }
        position = end;
    }
    return false;
}

}  // namespace numbertext
