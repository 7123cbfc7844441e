#include "Dialling.h"

#include "DialPlan.h"
#include "DialPlans.h"
#include "DigitAnalysisServiceTestAccess.h"
#include "Phones.h"

namespace benchdialling {

std::vector<std::string> growingDigits()
{
    const std::string number = kNumber;
    std::vector<std::string> digits;
    for (std::size_t length = 1; length <= number.size(); ++length) digits.push_back(number.substr(0, length));
    return digits;
}

std::unique_ptr<ServiceHarness> startSession()
{
    auto phone = benchphones::start("DE");
    DigitAnalysisService& service = phone->service();
    ManageableData plan = benchplans::configuration(benchplans::officePlan());
    DialPlan* dialPlan = DigitAnalysisServiceTestAccess::getDialPlan(service);
    if (dialPlan == nullptr || !dialPlan->setData(plan) || dialPlan->getNumberOfEntries() != 50) return nullptr;
    service.setDialler(&phone->dialler);
    service.startDialling("", &phone->dialler, false);
    return phone;
}

bool sendsAtTheTwelfthDigit(DigitAnalysisService& service)
{
    const auto digits = growingDigits();
    for (std::size_t i = 0; i < digits.size(); ++i) {
        std::string work = digits[i];
        const int expected = i + 1 < digits.size() ? eMatchNone : eMatchFull;
        if (service.dialString(&work, false, nullptr) != expected) return false;
    }
    return true;
}

}  // namespace benchdialling
