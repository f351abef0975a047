#pragma once

// What most tests include, to be compiled once. Each test includes what it uses all the same.

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>
