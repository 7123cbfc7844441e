#include "Reports.h"

#include <vector>

namespace benchreports {
namespace {
std::vector<Report>& registry()
{
    static std::vector<Report> reports;
    return reports;
}
}  // namespace

bool add(Report report)
{
    registry().push_back(std::move(report));
    return true;
}

void printAll(const Results& results)
{
    for (const Report& report : registry()) report(results);
}

}  // namespace benchreports
