// Expression functions: argument checks and error codes around
// xbase::expr::Expression.
#include <cstring>
#include <memory>

#include "api/guard.h"
#include "api/handles.h"
#include "expr/expression.h"

using xbase::api::guarded;
using xbase::expr::Expression;

struct EXPR4 {
  std::unique_ptr<Expression> impl;
};

namespace {

CODE4* context_of(EXPR4* e) { return static_cast<CODE4*>(&e->impl->data().context()); }

}  // namespace

extern "C" {

EXPR4* expr4parse(DATA4* d, const char* text) {
  if (d == nullptr) return nullptr;
  CODE4* c4 = d->c4;
  if (text == nullptr) {
    c4->fail(e4parm, "expr4parse: no expression text");
    return nullptr;
  }
  return guarded<EXPR4*>(c4, nullptr, [&]() -> EXPR4* {
    auto e = std::make_unique<EXPR4>();
    xbase::Status st = Expression::parse(*d, text, &e->impl);
    if (!st) {
      c4->fail(st);
      return nullptr;
    }
    return e.release();
  });
}

void expr4free(EXPR4* e) { delete e; }

int expr4type(EXPR4* e) { return e ? static_cast<int>(e->impl->type()) : int{e4parm}; }

int expr4len(EXPR4* e) { return e ? static_cast<int>(e->impl->len()) : int{e4parm}; }

const char* expr4str(EXPR4* e) {
  if (e == nullptr) return nullptr;
  return guarded<const char*>(context_of(e), "", [&] { return e->impl->str(); });
}

double expr4double(EXPR4* e) {
  if (e == nullptr) return 0.0;
  return guarded<double>(context_of(e), 0.0, [&] { return e->impl->number(); });
}

int expr4true(EXPR4* e) {
  if (e == nullptr) return e4parm;
  return guarded<int>(context_of(e), e4memory, [&] { return e->impl->truth(); });
}

}  // extern "C"
