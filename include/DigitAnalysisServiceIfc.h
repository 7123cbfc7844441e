#pragma once
// The client interface of the digit analysis service: the 23 operations a dialler, a call
// context provider and the phone's number displays call, directly or through the request
// texts of the service's invoker. The framework fixes the order of the operations (the
// interface's virtual table): add nothing in between and reorder nothing.
//
// For every operation, unless it says otherwise:
// - Threads: any thread; the framework calls from its message threads, its management thread
//   and its timer thread at once. Each operation takes the service lock, which is re-entrant
//   for its holder, so an operation may be called again from inside a callback the service
//   makes on a dialler or provider (those callbacks run with the service lock held).
// - Ownership: observers, diallers and providers are borrowed; the service never deletes them
//   and keeps the pointer until it is replaced or cleared, so the client must clear it (or
//   stop dialling) before it goes away. Strings are the caller's; "in place" operations
//   rewrite the caller's string and keep no reference to it.
// - Failure: nothing throws. A missing peer (no dialler, no media control service, no team
//   service) is logged and the operation does what it can without it; results report what
//   the caller must know.

#include <string>

#include "DigitAnalysisTypes.h"

class CallPartyIdentifier;
class DigitAnalysisServiceEventIfc;

class DigitAnalysisServiceIfc {
public:
    // Starts an off-hook dialling session on `digits`, the line (it is echoed to the dialler in
    // handleDialingStarted and is the key of the team service's hot/warm line look-up). With a
    // call context provider set, asks it for the party details first (getDialPartyDetails) and
    // waits up to 250 ms for dialPartyDetailsResponse; else decides at once: a hot line calls
    // its destination (handleInterDigitTimeout), a warm line arms its destination on the
    // Initial Digit timer, anything else sends handleDialingStarted and starts the Initial Digit
    // timer, with dial tone on SIP phones. `isFollowOnCall` true skips the phone-wide hot line.
    // `pEventObserver` is not used: the events go to the dialler set by setDialler.
    virtual void startDialling(const std::string& digits, DigitAnalysisServiceEventIfc* pEventObserver,
                               bool isFollowOnCall) = 0;
    // The call context provider's answer to getDialPartyDetails (or the service's own, empty and
    // not valid, when the 250 ms wait ends): stops that wait, then makes the start decision of
    // startDialling, reporting handleDialingStarted with `party` when it is valid. `party` is
    // read during the call only. Without a dialler or a team service nothing is reported and
    // the session waits for stopDialling.
    virtual void dialPartyDetailsResponse(CallPartyIdentifier& party, bool dialPartyDetailsValid,
                                          bool isFollowOnCall) = 0;
    // Starts an on-hook session: as startDialling with an empty line and no follow-on call, the
    // dial plan told that the handset is down while the start is decided. `pEventObserver` is
    // not used.
    virtual void startOnHookDialling(DigitAnalysisServiceEventIfc* pEventObserver) = 0;
    // Ends the session: the dialler gets handleDialingStopped, the Initial Digit, Extended
    // Initial Digit and Auto Dial timers stop (the Dial Plan timer is left alone), the latest
    // dialled digits are cleared, a blind transfer ends and dial tone stops; without a dialler
    // only the last two. On NRX and TDM phones only the call context provider (else the dialler)
    // is told, and on hardware variants 3 and 4 the Auto Dial timer stops. Does nothing at all
    // when `pEventObserver` is null (the request came from a client without a callback).
    virtual void stopDialling(DigitAnalysisServiceEventIfc* pEventObserver) = 0;
    // Restarts a running inter-digit (Auto Dial) wait from its full duration. Only on hardware
    // sub-platform variants 3 and 4; elsewhere it does nothing.
    virtual void resetAutoDialTimer() = 0;
    // While the user is not dialling (a menu is open): a running Initial Digit wait becomes the
    // 120 s Extended Initial Digit wait. Nothing else changes; harmless when nothing runs.
    virtual void suspendDialling() = 0;
    // Undoes suspendDialling: a running Extended Initial Digit wait becomes the Initial Digit
    // wait again, from its full duration.
    virtual void resumeDialling() = 0;
    // Analyses the digits dialled so far. Returns a DigitAnalysisMatch: eMatchFull when the
    // number is complete (send it now; the session's timers stop and `*digits` is the number to
    // send), eMatchNone to keep dialling (the Auto Dial or Dial Plan timer runs; on a locked
    // phone refused digits are emptied), eMatchEmergencyNumber for an emergency number on a
    // locked phone. `complete` true means the user pressed send. Emergency numbers, the dial
    // plan (which may strip a terminator from `*digits`) and the phone lock decide. A null
    // `digits` or no dialler gives eMatchNone and changes nothing. `pEventObserver` is not used.
    [[nodiscard]] virtual int dialString(std::string* digits, bool complete,
                                         DigitAnalysisServiceEventIfc* pEventObserver) = 0;
    // Makes `provider` the call context provider asked for party details at each start; null
    // clears it. Replaces any earlier one. Returns true.
    virtual bool setCallContextProvider(DigitAnalysisServiceEventIfc* provider) = 0;
    // Clears the call context provider if it is `provider`. False (and the provider kept, with a
    // log line naming both) when another one is set: only the setter may clear it.
    [[nodiscard]] virtual bool clearCallContextProvider(DigitAnalysisServiceEventIfc* provider) = 0;
    // Makes `dialler` the client that receives the session's events; null clears it. Replaces
    // any earlier one (logged). Returns true.
    virtual bool setDialler(DigitAnalysisServiceEventIfc* dialler) = 0;
    // Starts an on-hook session for a blind transfer: no dial tone is played for it, until the
    // number is sent or stopDialling.
    virtual void startBlindTransferDialling() = 0;
    // True when the canonical dial settings are complete enough to convert numbers: they were
    // read without fault and the country code is set. The conversions below give false while
    // this is false, and so does a partial settings change while it is being applied.
    [[nodiscard]] virtual bool isCanonicalDataValid() = 0;
    // Rewrites `number` in place into the canonical form ("+", country code, national number)
    // with the phone's dialling settings. Returns true when it converted or reformatted the
    // number; false when nothing was converted or nothing could be (empty input, no valid
    // dialling settings: see isCanonicalDataValid), and then `number` is as it was, but for the
    // documented minor formatting cases.
    [[nodiscard]] virtual bool convertToCanonical(std::string& number) = 0;
    // Rewrites a canonical `number` in place into the form the user dials on this phone (access
    // code, prefixes, internal extension) and sets `diagnosticCall` to "true" when the number
    // is a diagnostic call (the configured prefix), else "false". Returns true when the number
    // changed or a diagnostic call was found; false leaves `number` as it was.
    [[nodiscard]] virtual bool convertToLocalDialable(std::string& number, std::string& diagnosticCall) = 0;
    // Rewrites `number` in place into the dialable form of the cloud telephony server (only when
    // the phone is configured for it, "server-type" 7). True when converted; false leaves
    // `number` as it was (another server, invalid settings, a number it does not convert).
    [[nodiscard]] virtual bool convertToDialableRingCentral(std::string& number) = 0;
    // Rewrites a canonical `number` in place into the local dialable form, without the
    // diagnostic call check of convertToLocalDialable. True when converted; false leaves
    // `number` as it was.
    [[nodiscard]] virtual bool convertCanonicalToLocalDialable(std::string& number) = 0;
    // Fills `*out` with the emergency numbers, comma-separated: the emergency E.164 number, the
    // canonical settings' emergency numbers, then the dial plan's emergency entries. Pass an
    // empty, non-null string (a text already in it may be kept in front); an empty result means
    // none is configured.
    virtual void getEmergencyNumbersDialString(std::string* out) = 0;
    // Sets `*out` to the digits of the current session (empty when none, or when no dialler is
    // set). `out` must not be null.
    virtual void getLatestDialledDigits(std::string* out) = 0;
    // Appends the dial plan's lock-bypass numbers to `*out`, comma-separated. Pass an empty,
    // non-null string; an empty result means none is configured.
    virtual void getLockBypassNumbersDialString(std::string* out) = 0;
    // True when `number` is an emergency number: with `exactMatch`, equal to the first listed
    // emergency number that begins it; without, beginning with any of them. An empty number
    // counts as one (it is never to be refused because the phone is locked). `number` is not
    // changed.
    [[nodiscard]] virtual bool isEmergencyNumber(std::string& number, bool exactMatch) = 0;
    // True when the dial plan lets `number` through a locked phone; the dial plan may rewrite
    // `number` (a stripped terminator). False when there is no dial plan.
    [[nodiscard]] virtual bool isLockBypass(std::string& number) = 0;
    // True when `number` begins with one of the configured feature access code prefixes
    // ("fac-prefix-numbers").
    [[nodiscard]] virtual bool isFACPrefix(const std::string& number) = 0;

protected:
    // Not deleted through this face: the framework owns the service as an Executable.
    ~DigitAnalysisServiceIfc() = default;
};
