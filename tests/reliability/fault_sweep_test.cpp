// Sessions in which exactly one thing that the library asks of its host goes wrong.
#include <gtest/gtest.h>
