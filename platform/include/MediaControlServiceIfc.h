#pragma once
// The media control service: plays and stops tones described in XML.

#include <string>

class MediaControlServiceIfc {
public:
    virtual ~MediaControlServiceIfc();
    // The three numbers select the audio path, the volume and the duration; -1 means
    // "the phone's current choice" for each.
    virtual bool playTone(const std::string& toneDescription, int audioPath, int volume, int durationMs) = 0;
    virtual bool stopTone(const std::string& toneDescription) = 0;
};
