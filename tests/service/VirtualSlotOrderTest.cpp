// The framework and its clients call the service, the event proxy and the invoker through
// fixed virtual table slots. These tests pin every face's slot order, so that a declaration
// moved, added or removed in a class or interface fails here rather than on a phone.

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "DigitAnalysisService.h"
#include "DigitAnalysisServiceEventIfc.h"
#include "DigitAnalysisServiceEventProxy.h"
#include "DigitAnalysisServiceIfc.h"
#include "DigitAnalysisServiceInvoker.h"
#include "DigitAnalysisServiceTestAccess.h"
#include "Executable.h"
#include "MgmtAgentIfc.h"
#include "VirtualSlot.h"

using virtual_slot::kNotVirtual;
using virtual_slot::slotOf;
using virtual_slot::thisAdjustment;

namespace {

using Operation = std::pair<std::string, int>;  // (name, slot it was found in)
#define OPERATION(member) Operation(#member, slotOf(member))

// Each operation, in the order given, must sit in the next slot from `firstSlot` on.
void expectConsecutiveSlots(const std::vector<Operation>& operations, int firstSlot)
{
    int expected = firstSlot;
    for (const auto& [name, slot] : operations) {
        EXPECT_EQ(expected, slot) << name;
        ++expected;
    }
}

using DAS = DigitAnalysisService;
using Ifc = DigitAnalysisServiceIfc;
using EventIfc = DigitAnalysisServiceEventIfc;
using EventProxy = DigitAnalysisServiceEventProxy;
using std::string;

// A class whose layout is known, to check that the helper reads the representation right.
class Probe {
public:
    virtual ~Probe() = default;
    virtual void first() {}
    virtual int second(int value) { return value; }
    void notVirtual() {}
};
class SecondBase {
public:
    virtual ~SecondBase() = default;
    virtual void only() {}
};
class Derived : public Probe, public SecondBase {};

}  // namespace

TEST(VirtualSlotHelper, ReadsTheSlotsOfAClassOfKnownLayout)
{
    EXPECT_EQ(2, slotOf(&Probe::first)) << "after the two destructor slots";
    EXPECT_EQ(3, slotOf(&Probe::second));
    EXPECT_EQ(2, slotOf(&SecondBase::only));
    EXPECT_EQ(kNotVirtual, slotOf(&Probe::notVirtual));
}

TEST(VirtualSlotHelper, ReadsTheOffsetOfABaseFace)
{
    void (Derived::*viaPrimary)() = &Probe::first;
    void (Derived::*viaSecond)() = &SecondBase::only;

    EXPECT_EQ(0, thisAdjustment(viaPrimary));
    EXPECT_EQ(static_cast<std::ptrdiff_t>(sizeof(void*)), thisAdjustment(viaSecond));
    EXPECT_EQ(2, slotOf(viaSecond)) << "the slot is counted in the base's own table";
}

// ---- the service --------------------------------------------------------------------------

TEST(DigitAnalysisServiceSlots, BasesComeInTheOrderServiceInterfaceManagement)
{
    static_assert(std::is_base_of_v<Service, DAS>);
    static_assert(std::is_base_of_v<Executable, Service> && std::is_base_of_v<Threadable, Service>);
    const std::ptrdiff_t service = thisAdjustment(static_cast<void (DAS::*)(Context&)>(&Service::init));
    const std::ptrdiff_t threadable = thisAdjustment(static_cast<const char* (DAS::*)()>(&Threadable::type));
    const std::ptrdiff_t interface = thisAdjustment(static_cast<void (DAS::*)()>(&Ifc::resetAutoDialTimer));
    const std::ptrdiff_t management = thisAdjustment(static_cast<void (DAS::*)()>(&MgmtAgentIfc::resetUserData));

    EXPECT_EQ(0, service) << "Executable, through Service, is the primary base";
    EXPECT_LT(service, threadable);
    EXPECT_LT(threadable, interface);
    EXPECT_LT(interface, management);
}

TEST(DigitAnalysisServiceSlots, PrimaryFaceStartsWithTheFrameworkOperations)
{
    static_assert(std::has_virtual_destructor_v<DAS>);
    expectConsecutiveSlots({OPERATION(&DAS::init), OPERATION(&DAS::shutdown), OPERATION(&DAS::timerEvent),
                            OPERATION(&DAS::handleMsg), OPERATION(&DAS::run)},
                           2);
}

TEST(DigitAnalysisServiceSlots, PrimaryFaceThenHoldsTheServiceOperationsInDeclarationOrder)
{
    expectConsecutiveSlots(
        {
            OPERATION(static_cast<void (DAS::*)(const string&, EventIfc*, bool)>(&DAS::startDialling)),
            OPERATION(&DAS::dialPartyDetailsResponse),
            OPERATION(&DAS::startBlindTransferDialling),
            OPERATION(static_cast<void (DAS::*)(EventIfc*)>(&DAS::startOnHookDialling)),
            OPERATION(static_cast<void (DAS::*)(EventIfc*)>(&DAS::stopDialling)),
            OPERATION(&DAS::resetAutoDialTimer),
            OPERATION(&DAS::suspendDialling),
            OPERATION(&DAS::resumeDialling),
            OPERATION(static_cast<int (DAS::*)(string*, bool, EventIfc*)>(&DAS::dialString)),
            OPERATION(&DAS::setCallContextProvider),
            OPERATION(&DAS::clearCallContextProvider),
            OPERATION(&DAS::setDialler),
            OPERATION(&DAS::isCanonicalDataValid),
            OPERATION(&DAS::convertToCanonical),
            OPERATION(&DAS::convertToLocalDialable),
            OPERATION(&DAS::convertToDialableRingCentral),
            OPERATION(&DAS::convertCanonicalToLocalDialable),
            OPERATION(&DAS::getEmergencyNumbersDialString),
            OPERATION(&DAS::getLockBypassNumbersDialString),
            OPERATION(&DAS::isEmergencyNumber),
            OPERATION(&DAS::getLatestDialledDigits),
            OPERATION(&DAS::setData),
            OPERATION(&DAS::getData),
            OPERATION(&DAS::manageableDataChanged),
            OPERATION(&DAS::resetUserData),
            OPERATION(&DAS::isLockBypass),
            OPERATION(&DAS::isFACPrefix),
        },
        7);
}

TEST(DigitAnalysisServiceSlots, PrimaryFaceOperationsNeedNoAdjustment)
{
    EXPECT_EQ(0, thisAdjustment(&DAS::isFACPrefix));
    EXPECT_EQ(0, thisAdjustment(&DAS::setData));
}

TEST(DigitAnalysisServiceSlots, WorkersBehindTheInterfaceAreNotVirtual)
{
    EXPECT_EQ(kNotVirtual, slotOf(static_cast<void (DAS::*)(const string&, bool)>(&DAS::startDialling)));
    EXPECT_EQ(kNotVirtual, slotOf(static_cast<void (DAS::*)()>(&DAS::startOnHookDialling)));
    EXPECT_EQ(kNotVirtual, slotOf(static_cast<void (DAS::*)()>(&DAS::stopDialling)));
    EXPECT_EQ(kNotVirtual, slotOf(static_cast<int (DAS::*)(string*, bool)>(&DAS::dialString)));
    EXPECT_EQ(kNotVirtual, slotOf(&DAS::findMCS));
    EXPECT_EQ(kNotVirtual, slotOf(DigitAnalysisServiceTestAccess::makeTimerMember()));
}

TEST(ThreadableSlots, DestructorsThenRunPriorityAndType)
{
    static_assert(std::has_virtual_destructor_v<Threadable>);
    expectConsecutiveSlots({OPERATION(&Threadable::run), OPERATION(&Threadable::getThreadPriorityForPlatform),
                            OPERATION(&Threadable::type)},
                           2);
}

TEST(DigitAnalysisServiceIfcSlots, NoDestructorAndTheTwentyThreeOperationsInInterfaceOrder)
{
    static_assert(!std::has_virtual_destructor_v<Ifc>);
    expectConsecutiveSlots(
        {
            OPERATION(&Ifc::startDialling),
            OPERATION(&Ifc::dialPartyDetailsResponse),
            OPERATION(&Ifc::startOnHookDialling),
            OPERATION(&Ifc::stopDialling),
            OPERATION(&Ifc::resetAutoDialTimer),
            OPERATION(&Ifc::suspendDialling),
            OPERATION(&Ifc::resumeDialling),
            OPERATION(&Ifc::dialString),
            OPERATION(&Ifc::setCallContextProvider),
            OPERATION(&Ifc::clearCallContextProvider),
            OPERATION(&Ifc::setDialler),
            OPERATION(&Ifc::startBlindTransferDialling),
            OPERATION(&Ifc::isCanonicalDataValid),
            OPERATION(&Ifc::convertToCanonical),
            OPERATION(&Ifc::convertToLocalDialable),
            OPERATION(&Ifc::convertToDialableRingCentral),
            OPERATION(&Ifc::convertCanonicalToLocalDialable),
            OPERATION(&Ifc::getEmergencyNumbersDialString),
            OPERATION(&Ifc::getLatestDialledDigits),
            OPERATION(&Ifc::getLockBypassNumbersDialString),
            OPERATION(&Ifc::isEmergencyNumber),
            OPERATION(&Ifc::isLockBypass),
            OPERATION(&Ifc::isFACPrefix),
        },
        0);
    EXPECT_EQ(22, slotOf(&Ifc::isFACPrefix));
}

TEST(MgmtAgentIfcSlots, DestructorsThenSetGetChangedReset)
{
    static_assert(std::has_virtual_destructor_v<MgmtAgentIfc>);
    expectConsecutiveSlots({OPERATION(&MgmtAgentIfc::setData), OPERATION(&MgmtAgentIfc::getData),
                            OPERATION(&MgmtAgentIfc::manageableDataChanged), OPERATION(&MgmtAgentIfc::resetUserData)},
                           2);
}

TEST(ExecutableSlots, DestructorsThenInitShutdownTimerEvent)
{
    static_assert(std::has_virtual_destructor_v<Executable>);
    expectConsecutiveSlots(
        {OPERATION(&Executable::init), OPERATION(&Executable::shutdown), OPERATION(&Executable::timerEvent)}, 2);
}

// ---- the event proxy ----------------------------------------------------------------------

TEST(DigitAnalysisServiceEventProxySlots, BasesComeInTheOrderProxyInterface)
{
    static_assert(std::is_base_of_v<Proxy, EventProxy> && std::is_base_of_v<Executable, Proxy>);
    const std::ptrdiff_t proxy = thisAdjustment(static_cast<void (EventProxy::*)()>(&Proxy::shutdown));
    const std::ptrdiff_t events = thisAdjustment(static_cast<void (EventProxy::*)()>(&EventIfc::handleDialingStopped));
    EXPECT_EQ(0, proxy);
    EXPECT_LT(proxy, events);
}

TEST(DigitAnalysisServiceEventProxySlots, PrimaryFaceHoldsTheProxyOperationsThenTheEightEvents)
{
    static_assert(std::has_virtual_destructor_v<EventProxy>);
    expectConsecutiveSlots(
        {
            OPERATION(&EventProxy::init),
            OPERATION(&EventProxy::shutdown),
            OPERATION(&EventProxy::timerEvent),
            OPERATION(&EventProxy::initProxy),
            OPERATION(&EventProxy::handleInterDigitTimeout),
            OPERATION(&EventProxy::handleInitialDigitTimeout),
            OPERATION(static_cast<void (EventProxy::*)(const string&)>(&EventProxy::handleDialingStarted)),
            OPERATION(static_cast<void (EventProxy::*)(const string&, const CallPartyIdentifier&)>(
                &EventProxy::handleDialingStarted)),
            OPERATION(&EventProxy::isDiallingOk),
            OPERATION(&EventProxy::handleDialingStopped),
            OPERATION(&EventProxy::getDialPartyDetails),
            OPERATION(&EventProxy::getEventHandlerName),
        },
        2);
    EXPECT_EQ(kNotVirtual, slotOf(&EventProxy::setCallBackChan));
}

TEST(DigitAnalysisServiceEventIfcSlots, NoDestructorAndTheEightEventsInInterfaceOrder)
{
    static_assert(!std::has_virtual_destructor_v<EventIfc>);
    expectConsecutiveSlots(
        {
            OPERATION(&EventIfc::handleInterDigitTimeout),
            OPERATION(&EventIfc::handleInitialDigitTimeout),
            OPERATION(&EventIfc::isDiallingOk),
            OPERATION(static_cast<void (EventIfc::*)(const string&)>(&EventIfc::handleDialingStarted)),
            OPERATION(static_cast<void (EventIfc::*)(const string&, const CallPartyIdentifier&)>(
                &EventIfc::handleDialingStarted)),
            OPERATION(&EventIfc::handleDialingStopped),
            OPERATION(&EventIfc::getDialPartyDetails),
            OPERATION(&EventIfc::getEventHandlerName),
        },
        0);
}

// ---- the invoker --------------------------------------------------------------------------

TEST(DigitAnalysisServiceInvokerSlots, DestructorsThenHandleMessageAndInitInvoker)
{
    static_assert(std::is_base_of_v<Invoker, DigitAnalysisServiceInvoker>);
    static_assert(std::has_virtual_destructor_v<DigitAnalysisServiceInvoker>);
    expectConsecutiveSlots(
        {OPERATION(&DigitAnalysisServiceInvoker::handleMessage), OPERATION(&DigitAnalysisServiceInvoker::initInvoker)},
        2);
    expectConsecutiveSlots({OPERATION(&Invoker::handleMessage), OPERATION(&Invoker::initInvoker)}, 2);
    EXPECT_EQ(kNotVirtual, slotOf(&DigitAnalysisServiceInvoker::getCallbackInterface));
}
