// Every call into the host crossed with every call that the host may make there.
#include <gtest/gtest.h>
