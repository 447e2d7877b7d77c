// Programs that a test made up, with texts that the kernel's tools take.
#pragma once

#include "tests/support/rule_source.h"

namespace test_support {

// The program with other texts, which the tools of both address families take in every chain of
// their mangle tables; equal options stay equal, others stay different (up to 55 of them). What
// fusing conditions looks at is kept as far as such texts can have it:
//   -4, -6          stay: the tools of the other family leave these rules out
//   match modules   become marks
//   the rest        the first kind of those that the program has becomes protocols, the last one
//                   counters, and what lies between marks: most options are refused by one family
//                   or in one of the chains
//   targets         become MARK, those that act by a match module too
// A second option of one kind in a text is left out, unless it is a family or a module: no tool
// takes it. A program that it made is given back as it is.
ProgramSource withRunnableTexts(ProgramSource program);

}  // namespace test_support
