/* Loads the shared library, uses its lists, and unloads it, twice over: the lists go with the library, so that the
 * second life of it knows nothing of the first.
 *
 *   load_and_unload LIBRARY
 *
 * Ends with 0, or with the number of the source line that found something wrong.
 */

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#define REQUIRE(condition)                               \
    do {                                                 \
        if (!(condition)) {                              \
            fprintf(stderr, "not so: %s\n", #condition); \
            return __LINE__;                             \
        }                                                \
    } while (0)

typedef void (*TextFunction)(const char*);
typedef void (*VectorFunction)(const char*, const char*, const char*, const double*, int);
typedef long long (*CountFunction)(void);

/* What dlsym gives is a function, but of a type that C has no conversion from. */
static int find(void* library, const char* name, void* function) {
    void* const symbol = dlsym(library, name);
    memcpy(function, &symbol, sizeof symbol);
    return symbol != NULL;
}

static int use(const char* path) {
    const double values[2] = {1.0, 2.0};
    TextFunction addCaseLine, deleteVector;
    VectorFunction addVector;
    CountFunction numberOfMessages;
    void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    REQUIRE(library != NULL);
    REQUIRE(find(library, "AddCaseLine", &addCaseLine) && find(library, "DeleteVector", &deleteVector));
    REQUIRE(find(library, "AddVector", &addVector));
    REQUIRE(find(library, "API_GetNumberOfOutputMessages", &numberOfMessages));
    REQUIRE(dlsym(library, "GetNextCaseLine") == NULL);

    REQUIRE(numberOfMessages() == 0);
    /* This would end the process if the key were still known as that of a deleted vector. */
    deleteVector("FEED");
    addCaseLine("a line that is left to the library, too long to be kept without an allocation of its own");
    addVector("FEED", "Feed flow", "t/h", values, 2);
    deleteVector("FEED");

    REQUIRE(dlclose(library) == 0);
    REQUIRE(dlopen(path, RTLD_NOW | RTLD_NOLOAD) == NULL);
    return 0;
}

int main(int argumentCount, char** arguments) {
    int wrong;
    REQUIRE(argumentCount == 2);
    wrong = use(arguments[1]);
    return wrong != 0 ? wrong : use(arguments[1]);
}
