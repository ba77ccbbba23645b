// The C boundary: nothing thrown inside the engine may cross it.
#pragma once

#include <exception>
#include <new>

#include "api/handles.h"

namespace xbase::api {

// Runs `body`; a failed allocation becomes e4memory and any other escape
// e4data, stored in the context, and the call answers `on_error`.
template <class R, class F>
R guarded(CODE4* c4, R on_error, F&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    if (c4) c4->fail(e4memory, "out of memory");
  } catch (const std::exception& e) {
    if (c4) c4->fail(e4data, e.what());
  } catch (...) {
    if (c4) c4->fail(e4data, "unexpected failure");
  }
  return on_error;
}

}  // namespace xbase::api
