#include <host/host_in_c.h>
#include <string.h>

#include <qormath/host/host_api.h>
#include <qormath/host/host_consumer.h>

#define REQUIRE(condition)   \
    do {                     \
        if (!(condition)) {  \
            return __LINE__; \
        }                    \
    } while (0)

/* A few units in the last place of numbers up to 4. */
static int isNear(double number, double expected) {
    return number > expected - 1e-14 && number < expected + 1e-14;
}

/* The consumer's turn: every line names a vector, whose sum it reports. */
static int consume(void) {
    char line[32];
    while (GetNextCaseLine(line, sizeof line) == 0) {
        char description[40], units[40];
        float values[4];
        int length = -1, status = -1;
        GetVector(line, &length, description, units, values, &status);
        REQUIRE(status == 0);
        REQUIRE(length == 2);
        REQUIRE(values[0] == 0.5f && values[1] == 1.5f);
        REQUIRE(strcmp(units, "t/h") == 0);
        AddOutputMessage(description);
    }
    return 0;
}

int goThroughTheOrderOfUseInC(void) {
    const double values[2] = {0.5, 1.5};
    char message[256];
    int wrong;

    InitializeDMI();
    AddCaseLine("FEED");
    AddVector("FEED", "Feed flow", "t/h", values, 2);
    AddVector("STEAM", "Steam flow", "t/h", values, 2);
    AddCaseLine("STEAM");

    wrong = consume();
    if (wrong != 0) {
        return wrong;
    }

    DeleteVector("FEED");
    DeleteVector("STEAM");

    REQUIRE(API_GetNumberOfOutputMessages() == 2);
    REQUIRE(API_GetOutputMessage(message, sizeof message, 0) == 0);
    REQUIRE(strcmp(message, "Feed flow") == 0);
    REQUIRE(API_GetOutputMessage(message, sizeof message, 1) == 0);
    REQUIRE(strcmp(message, "Steam flow") == 0);
    API_InitializeOutputMessages();
    REQUIRE(API_GetNumberOfOutputMessages() == 0);
    return 0;
}

int analyseAGainMatrixInC(void) {
    /* [1 0; 0 2; 0 -4]: two sub-matrices of order 2 are regular, of condition numbers 2 and 4. */
    double gain[6] = {1.0, 0.0, 0.0, 0.0, 2.0, -4.0};
    double scaling[2] = {1.0, 1.0};
    double scaledGain[6], conditionNumbers[2], rgaValues[2];
    int colIndices[4], rowIndices[4], resultCount = -1;

    SVDAnalysis(2, 3, gain, scaledGain, scaling, 0, 2, 0, 0.0, colIndices, rowIndices, conditionNumbers, rgaValues,
                &resultCount, 2);
    REQUIRE(resultCount == 2);
    REQUIRE(memcmp(scaledGain, gain, sizeof gain) == 0);
    REQUIRE(isNear(conditionNumbers[0], 2.0) && isNear(conditionNumbers[1], 4.0));
    REQUIRE(isNear(rgaValues[0], 1.0) && isNear(rgaValues[1], 1.0));
    REQUIRE(rowIndices[0] == 0 && rowIndices[1] == 1 && rowIndices[2] == 0 && rowIndices[3] == 2);
    REQUIRE(colIndices[0] == 0 && colIndices[1] == 1 && colIndices[2] == 0 && colIndices[3] == 1);
    return 0;
}
