#include <strings.h>

#include <algorithm>
#include <cstdio>

#include "api/handles.h"

DATA4::DATA4(CODE4* context, std::shared_ptr<xbase::cursor::SharedTable> table, std::string alias, bool ro)
    : Cursor(*context, std::move(table), std::move(alias), ro), c4(context) {
  const auto& list = header().fields;
  for (size_t i = 0; i < list.size(); ++i) {
    if (static_cast<int>(i) == header().null_flags_field) continue;
    auto f = std::make_unique<FIELD4>();
    f->data = this;
    f->index = i;
    f->text.assign(list[i].len + 1, '\0');
    fields.push_back(std::move(f));
  }
}

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

DATA4* CODE4::find_alias(std::string_view alias) const {
  for (const auto& d : handles)
    if (d->alias().size() == alias.size() && strncasecmp(d->alias().data(), alias.data(), alias.size()) == 0)
      return d.get();
  return nullptr;
}

xbase::expr::RecordSource* CODE4::source_named(std::string_view alias) { return find_alias(alias); }

void CODE4::forget(DATA4* d) {
  lock_queue.erase(std::remove_if(lock_queue.begin(), lock_queue.end(),
                                  [d](const LockRequest& r) { return r.data == d; }),
                   lock_queue.end());
  std::shared_ptr<xbase::cursor::SharedTable> table = d->shared_table();
  handles.erase(std::remove_if(handles.begin(), handles.end(),
                               [d](const std::unique_ptr<DATA4>& h) { return h.get() == d; }),
                handles.end());
  // The context keeps one reference; the table closes with its last handle.
  if (table.use_count() == 2) tables.erase(std::remove(tables.begin(), tables.end(), table), tables.end());
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
    if (settings.unlock_auto == 2 && h->shared_table() != requester->shared_table()) continue;
    h->unlock();
  }
}
