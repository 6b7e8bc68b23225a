// The end of exceptions, before they reach code that knows of none.
#ifndef ENCMGR_LOG_CATCH_ALL_H
#define ENCMGR_LOG_CATCH_ALL_H

#include <cxxabi.h>
#include <exception>

// The text of the exception that is being handled, which lives as long as it does. One copy serves all that catch.
[[gnu::cold, gnu::noinline]] inline const char* CaughtText()
{
    try {
        throw;
#ifdef __GLIBCXX__
    } catch (const abi::__forced_unwind&) {
        throw;
#endif
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "unknown";
    }
}

// What body returns, or what handler makes of the text of an exception that left it. The unwinding of a cancelled
// thread goes on: it must not be stopped.
template <class Body, class Handler> auto CatchAll(Body body, Handler handler) -> decltype(body())
{
    try {
        return body();
    } catch (...) {
        return handler(CaughtText());
    }
}

#endif // ENCMGR_LOG_CATCH_ALL_H
