// A consumer of the host lists, and a host to try it with. The consumer is built into one binary with the library, so
// this program links the static one.
//
//   host_consumer

#include <cstdio>
#include <numeric>
#include <string>
#include <vector>

#include <qormath/host/host_api.h>
#include <qormath/host/host_consumer.h>

namespace {

// What this host and this consumer have agreed on: the longest line, and the longest vector.
constexpr int lineSize = 80;
constexpr int longestVector = 1000;

void reportMean(const std::string& name) {
    std::vector<float> values(longestVector);
    char description[40];
    char units[40];
    int length = 0;
    int status = 0;
    GetVector(name.c_str(), &length, description, units, values.data(), &status);
    if (length == 0) {
        AddOutputMessage((std::string(description) + ": no values").c_str());
        return;
    }
    const double sum = std::accumulate(values.begin(), values.begin() + length, 0.0);
    char message[256];
    std::snprintf(message, sizeof message, "%s: mean of %d values %g %s", description, length, sum / length, units);
    AddOutputMessage(message);
}

// A case is a list of lines "MEAN name". What is anything else is said, and passed over.
void consume() {
    const std::string command = "MEAN ";
    char line[lineSize];
    while (GetNextCaseLine(line, lineSize) == 0) {
        const std::string text = line;
        if (text.compare(0, command.size(), command) == 0) {
            reportMean(text.substr(command.size()));
        } else {
            AddOutputMessage(("not understood: " + text).c_str());
        }
    }
}

}  // namespace

int main() {
    // The host hands over its case ...
    const double feed[] = {101.5, 102.25, 99.75, 100.5};
    InitializeDMI();
    AddCaseLine("MEAN FEED");
    AddCaseLine("MEDIAN FEED");
    AddVector("FEED", "Feed flow", "t/h", feed, 4);

    // ... the consumer works on it ...
    consume();

    // ... and the host clears up and reads what came of it.
    DeleteVector("FEED");
    const long long count = API_GetNumberOfOutputMessages();
    for (int i = 0; i < count; ++i) {
        char message[256];
        API_GetOutputMessage(message, sizeof message, i);
        std::printf("%s\n", message);
    }
    API_InitializeOutputMessages();
    return count == 2 ? 0 : 1;
}
