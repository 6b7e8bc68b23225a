// The end of exceptions, before they reach code that knows of none.
#ifndef ENCMGR_LOG_CATCH_ALL_H
#define ENCMGR_LOG_CATCH_ALL_H

#include <cxxabi.h>
#include <exception>

// What body returns, or what handler makes of the text of an exception that left it. The unwinding of a cancelled
// thread goes on: it must not be stopped.
template <class Body, class Handler> auto CatchAll(Body body, Handler handler) -> decltype(body())
{
    try {
        return body();
#ifdef __GLIBCXX__
    } catch (const abi::__forced_unwind&) {
        throw;
#endif
    } catch (const std::exception& error) {
        return handler(error.what());
    } catch (...) {
        return handler("unknown");
    }
}

#endif // ENCMGR_LOG_CATCH_ALL_H
