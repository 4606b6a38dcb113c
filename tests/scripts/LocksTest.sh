#!/bin/bash
# That clang finds what is done without the lock that platform/Mutex.h says, and that nobody goes past that header.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
cd -- "$root"
command -v clang++-14 >/dev/null || { echo "there is no clang++-14"; exit 77; }

failures=0
complain() { # text
    echo "$1"
    failures=1
}

# The body of a member function of a class with two locks and a value of the first one.
check() { # body
    clang++-14 -std=c++20 -I "$root" -fsyntax-only -Wthread-safety -Werror -x c++ - 2>&1 <<CPP
#include "platform/Mutex.h"
class CTrial {
    void Step() ZEL_REQUIRES(m_first) { ++m_value; }
    void Run() { $1 }
    platform::CMutex m_first;
    platform::CMutex m_second;
    platform::CCondition m_changed;
    int m_value ZEL_GUARDED_BY(m_first) = 0;
};
CPP
}

while IFS= read -r right; do
    said=$(check "$right") || complain "refused, but right: $right"$'\n'"$said"
done <<'BODIES'
const platform::CMutexLock lock(m_first); Step();
platform::CMutexLock lock(m_first); m_changed.Wait(lock, [this]() ZEL_REQUIRES(m_first) { return m_value == 1; });
BODIES

while IFS= read -r wrong; do
    ! check "$wrong" >/dev/null || complain "not found: $wrong"
done <<'BODIES'
++m_value;
Step();
const platform::CMutexLock lock(m_second); Step();
{ const platform::CMutexLock lock(m_first); } Step();
const platform::CMutexLock lock(m_first); const platform::CMutexLock again(m_first);
BODIES

# A mutex of the standard library is invisible to it. What is shown to others is built with installed headers alone, and
# the headers of the face are compiled into the application, which need not have this check.
bare=$(grep -rnE 'std::(recursive_|shared_|timed_|recursive_timed_)?mutex\b|std::condition_variable' \
    --include='*.h' --include='*.cpp' --exclude=Mutex.h --exclude=FaultMutex.h --exclude=Baton.h \
    platform com framework inc Kernel apps plugins bench fuzz tests | grep -v '^inc/ZEL_Processor/zel/detail/' || true)
[[ -z $bare ]] || complain "not platform::CMutex:"$'\n'"$bare"

exit "$failures"
