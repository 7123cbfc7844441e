#pragma once
// The media control service: plays and stops tones described in XML. Any thread; the service
// calls it with its dial-tone lock held, so it must not call the service back. The tone
// description is lent for the call.

#include <string>

class MediaControlServiceIfc {
public:
    virtual ~MediaControlServiceIfc();
    // The three numbers select the audio path, the volume and the duration; -1 means
    // "the phone's current choice" for each.
    // Plays the tone until stopTone (or for `durationMs`); false when it cannot be played.
    virtual bool playTone(const std::string& toneDescription, int audioPath, int volume, int durationMs) = 0;
    // Stops the tone the description names; false when it cannot be stopped.
    virtual bool stopTone(const std::string& toneDescription) = 0;
};
