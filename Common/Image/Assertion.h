// Preconditions that stay in every build.
#ifndef ENCMGR_ASSERTION_H
#define ENCMGR_ASSERTION_H

// Prints the source unit, the line and the expression on the standard error stream, and stops the process.
[[noreturn]] void FailAssertion(const char* pszUnit, unsigned line, const char* pszExpression);

// The text stands apart from the condition, which may be a form of it that is defined for all values.
#define REQUIRE(condition, text) ((condition) ? static_cast<void>(0) : FailAssertion(__FILE_NAME__, __LINE__, text))

#endif // ENCMGR_ASSERTION_H
