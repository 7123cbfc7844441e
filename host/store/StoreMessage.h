#pragma once
// The dial plan storage messages as the store reads them. The service writes element texts
// verbatim, without escaping, so a message is not XML: a dial plan id may hold "<", "&",
// quotes or any byte at all. The store therefore reads the messages by their fixed layout,
// the way the service reads the store's answers: an element's text runs from its opening tag
// to the first closing tag of the same name.

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

// One element of a message, its text exactly as the message carries it.
struct StoreElement {
    std::string name;
    std::string text;
};

// The fields of one "Entry" element ("Id" among them when the message names it).
struct StoreEntry {
    std::vector<StoreElement> fields;

    // The text of the field `name`; null when the entry does not carry it.
    const std::string* field(const std::string& name) const;
};

// One request to the store.
struct StoreRequest {
    std::string schema;                // the Schema element's "name"
    std::string reason;                // the request kind: "ReadRequest", "WriteRequest", ...
    std::vector<StoreElement> fields;  // the elements of the body other than "Entry", in order
    std::vector<StoreEntry> entries;   // the "Entry" elements; one wrapped in another counts once

    const std::string* field(const std::string& name) const;
};

// A message whose layout does not hold together; says what was expected and where.
class StoreMessageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads one request: an optional XML declaration, then
// <Schema name="S"><ReasonForMessage>KIND</ReasonForMessage>ELEMENTS</Schema>, white space
// allowed between elements. Throws StoreMessageError for anything else, and for an element
// given twice.
StoreRequest parseStoreRequest(const std::string& message);

// The text of the element `name` in `text` as the service finds it in an answer: from the
// first opening tag to the first closing tag (searched for independently); nothing when either
// is missing or the closing tag comes first.
std::optional<std::string> firstElementText(const std::string& text, const std::string& name);

// As firstElementText, and removes the whole element from `text`, as the service does when it
// takes the entries of an answer one by one.
std::optional<std::string> takeFirstElement(std::string& text, const std::string& name);
