#include <qormath/core/xmsg.hpp>

namespace QorMathLA {

xmsg::xmsg(std::int32_t errorCode, const char* text) : code(errorCode), message(text) {}

xmsg::xmsg(const xmsg& other) = default;

xmsg& xmsg::operator=(const xmsg& other) = default;

xmsg::~xmsg() = default;

}  // namespace QorMathLA
