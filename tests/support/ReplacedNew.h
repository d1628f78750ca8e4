// The one hook behind the operator new of a test executable, which ReplacedNew.cpp replaces: the
// file that lets memory run out defines it.
#ifndef KOLN_TESTS_REPLACED_NEW_H
#define KOLN_TESTS_REPLACED_NEW_H

// Whether an allocation is refused. Called for every one of them, on any thread and before main.
// `caller`: the return address of the allocating function.
bool refusesMemory(const void* caller) noexcept;

#endif
