#include "Corpus.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace benchcorpus {
namespace {
std::vector<Number> load()
{
    const char* fromEnvironment = std::getenv("DAS_BENCH_CORPUS");
    std::ifstream file(fromEnvironment != nullptr ? fromEnvironment : DAS_BENCH_CORPUS);
    std::vector<Number> numbers;
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream fields(line);
        Number number;
        if (std::getline(fields, number.region, '\t') && std::getline(fields, number.form, '\t') &&
            std::getline(fields, number.text)) {
            numbers.push_back(number);
        }
    }
    return numbers;
}
}  // namespace

const std::vector<Number>& all()
{
    static const std::vector<Number> numbers = load();
    return numbers;
}

std::vector<Number> ofRegion(const std::string& region)
{
    std::vector<Number> selected;
    for (const Number& number : all()) {
        if (number.region == region) selected.push_back(number);
    }
    return selected;
}

}  // namespace benchcorpus
