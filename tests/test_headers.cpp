#include "test_headers.hpp"
