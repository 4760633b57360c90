// Older name of the queue helpers, for suites that still include it; the
// helpers live in the shared test support.
#pragma once

#include "quorix_test.h"

namespace ipctest {
using qtest::KernelMessage;
using qtest::receiveInChild;
using qtest::removeQueue;
}  // namespace ipctest
