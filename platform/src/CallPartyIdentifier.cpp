#include "CallPartyIdentifier.h"

#include "Serializer.h"

CallPartyIdentifier::CallPartyIdentifier(std::string displayName, std::string number, std::string uri)
    : m_displayName(std::move(displayName)), m_number(std::move(number)), m_uri(std::move(uri))
{
}

void CallPartyIdentifier::serialize(std::string& out) const
{
    Serializer::serialize(out, m_displayName, false);
    Serializer::serialize(out, m_number, false);
    Serializer::serialize(out, m_uri, false);
}

bool CallPartyIdentifier::deserialize(const std::string& text)
{
    std::size_t position = 0;
    std::string displayName, number, uri;
    if (!Serializer::deserialize(text, position, displayName, false) ||
        !Serializer::deserialize(text, position, number, false) ||
        !Serializer::deserialize(text, position, uri, false) || position != text.size()) {
        return false;
    }
    m_displayName = std::move(displayName);
    m_number = std::move(number);
    m_uri = std::move(uri);
    return true;
}

bool CallPartyIdentifier::operator==(const CallPartyIdentifier& other) const
{
    return m_displayName == other.m_displayName && m_number == other.m_number && m_uri == other.m_uri;
}
