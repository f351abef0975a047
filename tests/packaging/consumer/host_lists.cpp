#include <cstring>

#include <qormath/host/host_api.h>
#include <qormath/host/host_consumer.h>

bool hostListsWork() {
    char line[8];
    char message[8];
    InitializeDMI();
    AddCaseLine("a");
    const bool lineCame = GetNextCaseLine(line, sizeof line) == 0 && std::strcmp(line, "a") == 0;
    AddOutputMessage("b");
    return lineCame && API_GetOutputMessage(message, sizeof message, 0) == 0 && std::strcmp(message, "b") == 0;
}
