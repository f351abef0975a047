#include <cstdio>
#include <cstring>

#include <qormath/core/xmsg.hpp>
#include <qormath/version.hpp>

// Throws and catches a class of the library, which needs its code, its type information and its headers.
int main() {
    try {
        throw QorMathLA::xmsg(QorMathLA::NumericFailure, "100 %");
    } catch (const QorMathLA::xmsg& error) {
        std::printf("QorMath %s\n", QORMATH_VERSION);
        return std::strcmp(error.message.c_str(), "100 %") == 0 && error.code == 11 ? 0 : 1;
    }
}
