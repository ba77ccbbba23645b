#include <algorithm>
#include <cstdio>
#include <strings.h>

#include "table/handles.h"

int CODE4::fail(const xbase::Status& st) {
  error_code = st.code();
  error_message = st.message();
  if (!settings.err_off && st.code() < 0) {
    const char* text = error4text(this, st.code());
    std::fprintf(stderr, "vgxbase error %d (%s): %s\n", st.code(), text ? text : "unknown",
                 st.message().c_str());
  }
  return st.code();
}

DATA4* CODE4::find_alias(const char* alias) const {
  if (alias == nullptr) return nullptr;
  for (const auto& d : handles)
    if (strcasecmp(d->alias.c_str(), alias) == 0) return d.get();
  return nullptr;
}

void CODE4::forget(DATA4* d) {
  lock_queue.erase(std::remove_if(lock_queue.begin(), lock_queue.end(),
                                  [d](const LockRequest& r) { return r.data == d; }),
                   lock_queue.end());
  std::shared_ptr<xbase::table::TableFile> table = d->table;
  handles.erase(std::remove_if(handles.begin(), handles.end(),
                               [d](const std::unique_ptr<DATA4>& h) { return h.get() == d; }),
                handles.end());
  // The context keeps one reference; the file closes with its last handle.
  if (table.use_count() == 2) {
    tables.erase(std::remove(tables.begin(), tables.end(), table), tables.end());
  }
}

int CODE4::close_all() {
  int rc = 0;
  while (!handles.empty()) {
    int r = d4close(handles.back().get());
    if (r < 0 && rc == 0) rc = r;
  }
  tables.clear();
  lock_queue.clear();
  return rc;
}

void CODE4::auto_unlock(DATA4* requester) {
  if (settings.unlock_auto == 0) return;
  for (const auto& h : handles) {
    if (settings.unlock_auto == 2 && h->table != requester->table) continue;
    h->unlock();
  }
}
