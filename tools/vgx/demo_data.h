// The sample records of `vgx demo`: made by a fixed pseudo-random sequence, so every run, on
// every machine, writes the same values.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vgx {

struct DemoCustomer {
  int32_t id = 0;
  std::string name;
  std::string city;
  std::string birth;  // CCYYMMDD
  bool active = true;
  int64_t balance_cents = 0;
  std::string notes;  // empty for most
  int32_t visits = 0;        // the later FoxPro format's integer field
  int64_t credit_cents = 0;  // and its currency field
};

struct DemoOrder {
  int32_t order_no = 0;
  int32_t cust_id = 0;
  std::string ordered;  // CCYYMMDD
  int64_t amount_cents = 0;
  bool shipped = false;
  std::string remarks;
  bool cancelled = false;  // written as a deleted record
};

std::vector<DemoCustomer> make_demo_customers(int count);
std::vector<DemoOrder> make_demo_orders(int count, int customer_count);

// The CCYYMMDD text of the day `days` after 1 January of `year` (proleptic Gregorian).
std::string demo_date_after(int year, int days);

}  // namespace vgx
