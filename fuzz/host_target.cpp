// Calls of the flat C interface in any order within its rules, against lists of one's own; and analyses of small gain
// matrices of any numbers.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fuzz/byte_source.hpp>
#include <fuzz/expect.hpp>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include <qormath/host/host_api.h>
#include <qormath/host/host_consumer.h>

namespace {

using namespace qormath::fuzz;

struct Record {
    std::string description;
    std::string units;
    std::vector<float> values;
};

bool sameBits(float a, float b) {
    return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
}

class Host {
  public:
    explicit Host(ByteSource source) : bytes(source) {
        InitializeDMI();
        API_InitializeOutputMessages();
    }

    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    // What is not deleted leaks, as it is told.
    ~Host() {
        for (const auto& [key, record] : vectors) {
            DeleteVector(key.c_str());
        }
        InitializeDMI();
        API_InitializeOutputMessages();
    }

    void run() {
        while (!bytes.empty()) {
            step();
        }
        compareVectors();
        compareMessages();
    }

  private:
    void step();
    void initialize();
    void addCaseLine();
    void nextCaseLine();
    void addVector();
    void deleteVector();
    void addMessage();
    void compareVectors();
    void compareMessages();
    void analyse();

    std::string key() { return bytes.text(bytes.below(3)); }

    ByteSource bytes;
    std::vector<std::string> lines;
    std::size_t nextLine = 0;
    std::map<std::string, Record> vectors;
    std::map<std::string, bool> deleted;
    std::vector<std::string> messages;
};

void Host::step() {
    switch (bytes.below(10)) {
        case 0:
            initialize();
            break;
        case 1:
        case 2:
            addCaseLine();
            break;
        case 3:
            nextCaseLine();
            break;
        case 4:
        case 5:
            addVector();
            break;
        case 6:
            deleteVector();
            break;
        case 7:
            addMessage();
            break;
        case 8:
            analyse();
            break;
        default:
            compareVectors();
            compareMessages();
    }
}

void Host::initialize() {
    switch (bytes.below(4)) {
        case 0:
            for (const auto& [key, record] : vectors) {
                DeleteVector(key.c_str());
            }
            InitializeDMI();
            lines.clear();
            nextLine = 0;
            vectors.clear();
            deleted.clear();
            break;
        case 1:
            API_InitializeOutputMessages();
            messages.clear();
            break;
        case 2: {
            std::array<unsigned char, 34> block{};
            block.fill(7);
            expect(DMI_Initialize(block.data() + 1) == 0, "the block is cleared");
            expect(block.front() == 7 && block.back() == 7, "nothing beside the block is touched");
            expect(std::count(block.begin(), block.end(), 0) == 32, "all of the block is cleared");
            break;
        }
        default:
            DMI_Parameter();
    }
}

void Host::addCaseLine() {
    const std::string line = bytes.text(bytes.below(256));
    AddCaseLine(line.c_str());
    lines.push_back(line);
}

void Host::nextCaseLine() {
    const bool isLeft = nextLine < lines.size();
    // Room for the line and no more: one byte too many is the sanitizer's to see.
    std::vector<char> line(isLeft ? lines[nextLine].size() + 1 : 1, 'x');
    expect(GetNextCaseLine(line.data(), static_cast<int>(line.size())) == (isLeft ? 0 : 1), "the lines end together");
    if (isLeft) {
        expect(lines[nextLine] == line.data(), "the case lines agree");
        ++nextLine;
    } else {
        expect(line.front() == 'x', "nothing is touched at the end");
    }
}

void Host::addVector() {
    const std::string name = key();
    constexpr std::size_t longestDescription = 39;  // of what a consumer has room for
    constexpr std::size_t longestUnits = 30;
    Record record{bytes.text(bytes.below(longestDescription + 1)), bytes.text(bytes.below(longestUnits + 1)), {}};
    std::vector<double> values;
    for (std::size_t count = bytes.below(5); count > 0; --count) {
        values.push_back(bytes.anyDouble());
        record.values.push_back(static_cast<float>(values.back()));
    }
    if (vectors.count(name) != 0) {
        // A vector that is replaced leaks, as it is told.
        DeleteVector(name.c_str());
    }
    AddVector(name.c_str(), record.description.c_str(), record.units.c_str(), values.data(),
              static_cast<int>(values.size()));
    vectors[name] = record;
    deleted.erase(name);
}

void Host::deleteVector() {
    const std::string name = key();
    if (deleted.count(name) != 0) {
        return;
    }
    DeleteVector(name.c_str());
    if (vectors.erase(name) != 0) {
        deleted[name] = true;
    }
}

void Host::addMessage() {
    const std::string message = bytes.text(bytes.below(256));
    AddOutputMessage(message.c_str());
    messages.push_back(message);
}

void Host::compareVectors() {
    for (const auto& [name, record] : vectors) {
        int length = -1;
        int status = -1;
        std::array<char, 40> description{};
        std::array<char, 40> units{};
        std::vector<float> values(record.values.size());
        GetVector(name.c_str(), &length, description.data(), units.data(), values.data(), &status);
        expect(status == 0 && length == static_cast<int>(values.size()), "the lengths agree");
        expect(record.description == description.data() && record.units == units.data(), "the texts agree");
        for (std::size_t k = 0; k < values.size(); ++k) {
            expect(sameBits(values[k], record.values[k]), "the values agree");
        }
    }
}

void Host::compareMessages() {
    expect(API_GetNumberOfOutputMessages() == static_cast<long long>(messages.size()), "as many messages");
    for (std::size_t k = 0; k < messages.size(); ++k) {
        std::vector<char> text(messages[k].size() + 1);
        expect(API_GetOutputMessage(text.data(), static_cast<int>(text.size()), static_cast<int>(k)) == 0, "a message");
        expect(messages[k] == text.data(), "the messages agree");
    }
}

// What one call of SVDAnalysis gives back. Arrays are as long as may be written, no longer.
struct Analysis {
    Analysis(int rows, int cols, const std::vector<double>& given, const std::vector<double>& factors, int keep,
             int askedOrder, int flag, double limit, int most)
        : gain(given), scaling(factors), scaledGain(given.size(), -7.0) {
        const int smaller = std::min(rows, cols);
        order = static_cast<std::size_t>(askedOrder < 1 || askedOrder > smaller ? smaller : askedOrder);
        const auto room = static_cast<std::size_t>(std::max(most, 0));
        colIndices.assign(room * order, -7);
        rowIndices.assign(room * order, -7);
        conditionNumbers.assign(room, -7.0);
        rgaValues.assign(room, -7.0);
        try {
            SVDAnalysis(cols, rows, gain.data(), scaledGain.data(), scaling.data(), keep, askedOrder, flag, limit,
                        colIndices.data(), rowIndices.data(), conditionNumbers.data(), rgaValues.data(), &count, most);
        } catch (const int code) {
            expect(code == -1 && count == -7, "nothing is written where it throws");
            threw = true;
        }
    }

    std::vector<double> gain;
    std::vector<double> scaling;
    std::vector<double> scaledGain;
    std::vector<int> colIndices;
    std::vector<int> rowIndices;
    std::vector<double> conditionNumbers;
    std::vector<double> rgaValues;
    std::size_t order = 0;
    int count = -7;
    bool threw = false;
};

bool isAscending(const std::vector<int>& indices, std::size_t first, std::size_t count, int limit) {
    for (std::size_t k = first; k < first + count; ++k) {
        if (indices[k] < 0 || indices[k] >= limit || (k > first && indices[k] <= indices[k - 1])) {
            return false;
        }
    }
    return true;
}

void Host::analyse() {
    const int rows = bytes.upTo(4);
    const int cols = bytes.upTo(4);
    const bool wild = bytes.below(3) == 0;
    const auto number = [&] { return wild ? bytes.anyDouble() : static_cast<double>(bytes.below(9)) - 4.0; };
    std::vector<double> gain(static_cast<std::size_t>(rows * cols));
    std::vector<double> scaling(static_cast<std::size_t>(cols));
    std::generate(gain.begin(), gain.end(), number);
    std::generate(scaling.begin(), scaling.end(), number);
    const int keep = bytes.upTo(5) - 1;
    const int order = bytes.upTo(6) - 1;
    const int flag = bytes.upTo(2);
    const double limit = bytes.below(2) == 0 ? 0.0 : number();
    const int most = bytes.upTo(40) - 1;
    const Analysis found(rows, cols, gain, scaling, keep, order, flag, limit, most);
    expect(gain.empty() || std::memcmp(found.gain.data(), gain.data(), gain.size() * sizeof(double)) == 0,
           "the gain is only read");
    if (found.threw) {
        return;
    }
    expect(found.count >= 0 && (keep < 1 || found.count <= keep), "no more results than are kept");
    const auto written = static_cast<std::size_t>(std::clamp(found.count, 0, std::max(most, 0)));
    for (std::size_t k = 0; k < found.conditionNumbers.size(); ++k) {
        if (k >= written) {
            expect(found.conditionNumbers[k] == -7.0 && found.rgaValues[k] == -7.0, "nothing is written beyond");
            continue;
        }
        // The smallest and the largest singular value round apart.
        constexpr double slightlyBelowOne = 1.0 - 16.0 * std::numeric_limits<double>::epsilon();
        const double condition = found.conditionNumbers[k];
        expect(std::isfinite(condition) && condition >= slightlyBelowOne, "a condition number is 1 or more");
        expect(!(limit > 0.0) || condition <= limit, "the limit holds");
        expect(k == 0 || condition >= found.conditionNumbers[k - 1], "the best come first");
        expect(isAscending(found.rowIndices, k * found.order, found.order, rows), "the rows are rows");
        expect(isAscending(found.colIndices, k * found.order, found.order, cols), "the columns are columns");
    }
    const Analysis all(rows, cols, gain, scaling, 0, order, flag, limit, 40);
    expect(!all.threw && all.count >= found.count, "fewer are kept, not more");
    expect(keep >= 1 || all.count == found.count, "all are kept");
    for (std::size_t k = 0; k < std::min<std::size_t>(written, 40); ++k) {
        expect(all.conditionNumbers[k] == found.conditionNumbers[k], "what is kept are the best");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Host(ByteSource(bytes, size)).run();
    return 0;
}
