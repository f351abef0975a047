/* Goes through the flat interface from C, as a host does: a case for a consumer, then the conditioning of a gain
 * matrix.
 *
 *   drive_from_c
 */

#include <stdio.h>
#include <string.h>

#include <qormath/host/host_api.h>

enum { outputCount = 3, inputCount = 3, order = 2, wanted = 3 };

/* The consumer of the lists is a part of the binary that the library is built into. The shared library has none, so no
 * message comes back here; host_consumer.cpp shows one. */
static void handOverACase(void) {
    const double feed[] = {101.5, 102.25, 99.75, 100.5};
    char message[256];
    unsigned char block[32];
    long long i;

    DMI_Initialize(block);
    DMI_Parameter();
    InitializeDMI();
    AddCaseLine("MEAN FEED");
    AddVector("FEED", "Feed flow", "t/h", feed, (int)(sizeof feed / sizeof feed[0]));

    /* here the consumer works */

    DeleteVector("FEED");
    for (i = 0; i < API_GetNumberOfOutputMessages(); ++i) {
        API_GetOutputMessage(message, sizeof message, (int)i);
        printf("message: %s\n", message);
    }
    API_InitializeOutputMessages();
}

/* Which two of the three main outputs of a heavy oil fractionator are best controlled with which two of its three draws
 * and duties? Steady-state gains of D. M. Prett, C. E. Garcia, "Fundamental Process Control", Butterworths 1988. */
static int rankPairsOfOutputs(void) {
    static const char* const outputs[outputCount] = {"top end point", "side end point", "bottoms reflux temperature"};
    static const char* const inputs[inputCount] = {"top draw", "side draw", "bottoms reflux duty"};
    double gain[inputCount * outputCount] = {4.05, 5.39, 4.38,  /* of the top draw, on each output */
                                             1.77, 5.72, 4.42,  /* of the side draw */
                                             5.88, 6.90, 7.20}; /* of the bottoms reflux duty */
    double scaling[inputCount] = {1.0, 1.0, 1.0};
    double scaledGain[inputCount * outputCount], conditionNumbers[wanted], rgaValues[wanted];
    int inputIndices[wanted * order], outputIndices[wanted * order];
    int found = 0, shown, i;

    SVDAnalysis(inputCount, outputCount, gain, scaledGain, scaling, 0 /* keep all results */, order,
                0 /* rows as they are */, 0.0 /* any condition number */, inputIndices, outputIndices, conditionNumbers,
                rgaValues, &found, wanted);
    shown = found < wanted ? found : wanted;
    printf("%d selections of %d outputs and %d inputs, the best %d of them:\n", found, order, order, shown);
    for (i = 0; i < shown; ++i) {
        printf("  %s, %s by %s, %s: condition number %.2f, largest relative gain %.2f\n",
               outputs[outputIndices[i * order]], outputs[outputIndices[i * order + 1]],
               inputs[inputIndices[i * order]], inputs[inputIndices[i * order + 1]], conditionNumbers[i], rgaValues[i]);
    }
    return found == 9 && memcmp(scaledGain, gain, sizeof gain) == 0 ? 0 : 1;
}

int main(void) {
    handOverACase();
    return rankPairsOfOutputs();
}
