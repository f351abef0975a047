#pragma once

// The host lists belong to the process. Each test finds them empty, and leaves nothing behind.

#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <qormath/host/detail/host_data.hpp>
#include <qormath/host/host_api.h>
#include <qormath/host/host_consumer.h>

namespace qormath::test {

class HostLists : public testing::Test {
  protected:
    HostLists() { clear(); }
    ~HostLists() override { clear(); }

    static host::VectorRecord* recordOf(const std::string& key) { return host::hostData().vectors.at(key); }

  private:
    static void clear() {
        for (const auto& [key, record] : host::hostData().vectors) {
            if (record != nullptr && record != &host::deletedRecord) {
                host::freeRecord(record);
            }
        }
        InitializeDMI();
        API_InitializeOutputMessages();
    }
};

/// What GetVector says of a vector.
struct FetchedVector {
    std::string description;
    std::string units;
    std::vector<float> values;
    int status;
};

inline FetchedVector fetch(const char* key) {
    constexpr std::size_t room = 64;
    constexpr float untouched = -12345.0F;
    std::vector<float> values(room, untouched);
    char description[host::consumerTextSize];
    char units[host::consumerTextSize];
    int length = -1;
    int status = -1;
    GetVector(key, &length, description, units, values.data(), &status);
    const auto end = values.begin() + length;
    EXPECT_EQ(std::vector<float>(end, values.end()),
              std::vector<float>(room - static_cast<std::size_t>(length), untouched));
    return {description, units, std::vector<float>(values.begin(), end), status};
}

}  // namespace qormath::test
