#include <stdio.h>

#include <qormath/host/host_api.h>

static int failures = 0;

static void expect(int holds, const char* what) {
    if (!holds) {
        printf("does not hold: %s\n", what);
        ++failures;
    }
}

/* Goes through both halves of the flat interface. */
int main(void) {
    double gain[4] = {1.0, 0.0, 0.0, 2.0};
    double scaling[2] = {1.0, 1.0};
    double scaledGain[4], conditionNumber, rgaValue;
    int columns[2], rows[2], found = 0;
    unsigned char block[32] = {1};

    expect(DMI_Initialize(block) == 0 && block[0] == 0, "the block is cleared");
    DMI_Parameter();
    InitializeDMI();
    AddCaseLine("a line");
    AddVector("key", "description", "units", gain, 4);
    DeleteVector("key");
    API_InitializeOutputMessages();
    expect(API_GetNumberOfOutputMessages() == 0, "there is no message without a consumer");

    SVDAnalysis(2, 2, gain, scaledGain, scaling, 0, 0, 0, 0.0, columns, rows, &conditionNumber, &rgaValue, &found, 1);
    expect(found == 1 && conditionNumber > 1.999 && conditionNumber < 2.001, "diag(1, 2) has condition number 2");
    expect(rgaValue > 0.999 && rgaValue < 1.001, "a diagonal matrix has no interaction");
    expect(columns[1] == 1 && rows[1] == 1, "indices count from 0");
    return failures == 0 ? 0 : 1;
}
