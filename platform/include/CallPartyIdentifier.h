#pragma once
// Who a call is with: the record a call context provider gives for a dialling session.
// A plain value: copy it freely; not synchronised (one thread at a time per object).

#include <string>

class CallPartyIdentifier {
public:
    CallPartyIdentifier() = default;
    CallPartyIdentifier(std::string displayName, std::string number, std::string uri);

    const std::string& getDisplayName() const { return m_displayName; }
    const std::string& getNumber() const { return m_number; }
    const std::string& getUri() const { return m_uri; }
    void setDisplayName(const std::string& name) { m_displayName = name; }
    void setNumber(const std::string& number) { m_number = number; }
    void setUri(const std::string& uri) { m_uri = uri; }
    bool isEmpty() const { return m_displayName.empty() && m_number.empty() && m_uri.empty(); }

    // Appends the identifier's serial form (its three fields, each serialised) to `out`.
    void serialize(std::string& out) const;
    // Reads the serial form; false (and the identifier unchanged) when malformed.
    [[nodiscard]] bool deserialize(const std::string& text);

    bool operator==(const CallPartyIdentifier& other) const;

private:
    std::string m_displayName;
    std::string m_number;
    std::string m_uri;
};
