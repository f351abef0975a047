#ifndef HOST_HOST_IN_C_H
#define HOST_HOST_IN_C_H

// What C code makes of the interface. Each function returns the number of the source line that found something wrong,
// 0 if none did.

#ifdef __cplusplus
extern "C" {
#endif

int goThroughTheOrderOfUseInC(void);
int analyseAGainMatrixInC(void);

#ifdef __cplusplus
}
#endif

#endif
