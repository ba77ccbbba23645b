#include "demo_data.h"

#include <array>
#include <cstdio>

namespace vgx {
namespace {

// SplitMix64: small, fast and identical everywhere, which is all a demo needs.
class DemoRandom {
 public:
  explicit DemoRandom(uint64_t seed) : state_(seed) {}

  uint64_t next() {
    uint64_t z = (state_ += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
  }
  // 0 .. n-1
  int below(int n) { return static_cast<int>(next() % static_cast<uint64_t>(n)); }
  int between(int low, int high) { return low + below(high - low + 1); }
  bool percent(int chance) { return below(100) < chance; }
  template <std::size_t N>
  const char* pick(const std::array<const char*, N>& items) {
    return items[static_cast<std::size_t>(below(static_cast<int>(N)))];
  }

 private:
  uint64_t state_;
};

constexpr uint64_t kCustomerSeed = 0x5EED0001;
constexpr uint64_t kOrderSeed = 0x5EED0002;

constexpr std::array<const char*, 32> kFirstNames = {
    "Anna",   "Ben",    "Clara",  "David",  "Emma",   "Felix",  "Grace",  "Hugo",
    "Ines",   "Jonas",  "Karin",  "Lukas",  "Maria",  "Noah",   "Olivia", "Paul",
    "Quinn",  "Rosa",   "Samuel", "Tara",   "Ulrich", "Vera",   "Walter", "Xenia",
    "Yusuf",  "Zoe",    "Marta",  "Peter",  "Sofia",  "Tomas",  "Elena",  "Marco"};

constexpr std::array<const char*, 32> kLastNames = {
    "Adams",   "Berger",  "Costa",   "Dubois",  "Evans",    "Fischer", "Garcia",  "Hansen",
    "Ivanov",  "Jensen",  "Keller",  "Larsen",  "Moreau",   "Novak",   "O'Brien", "Petrov",
    "Quist",   "Rossi",   "Schmidt", "Torres",  "Urban",    "Vogel",   "Weber",   "Young",
    "Zimmer",  "Lambert", "Martin",  "Nilsson", "Olsen",    "Richter", "Silva",   "Baker"};

constexpr std::array<const char*, 12> kCities = {
    "Amsterdam", "Barcelona", "Berlin", "Copenhagen", "Dublin", "Lisbon",
    "Lyon",      "Milan",     "Oslo",   "Prague",     "Vienna", "Zurich"};

constexpr std::array<const char*, 10> kNotes = {
    "Prefers contact by e-mail.",
    "Asked for a catalogue, \"the big one\".",
    "Pays by bank transfer, usually late.",
    "Long-standing customer.\nSend the yearly greeting card.",
    "Moved in spring; check the address, please.",
    "Interested in bulk discounts",
    "Complained about a late delivery, solved.",
    "VIP: call before shipping, any hour.",
    "Speaks German and Italian",
    "Do not send paper invoices.\nUse the portal.\nThanks!"};

constexpr std::array<const char*, 8> kRemarks = {
    "Gift wrap",
    "Deliver after 5 pm",
    "Leave at the door, \"no signature\"",
    "Express shipping",
    "Split delivery, two boxes",
    "Invoice to head office",
    "Call before delivery.\nGate code 4711.",
    "Fragile"};

bool leap_year(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

std::string date_text(int year, int month, int day) {
  char buf[40];  // room for any int, so the format can never be cut
  std::snprintf(buf, sizeof buf, "%04d%02d%02d", year, month, day);
  return buf;
}

}  // namespace

std::string demo_date_after(int year, int days) {
  static constexpr int kMonthDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  for (;;) {
    const int year_days = leap_year(year) ? 366 : 365;
    if (days < year_days) break;
    days -= year_days;
    ++year;
  }
  int month = 0;
  for (;; ++month) {
    const int month_days = kMonthDays[month] + (month == 1 && leap_year(year) ? 1 : 0);
    if (days < month_days) break;
    days -= month_days;
  }
  return date_text(year, month + 1, days + 1);
}

std::vector<DemoCustomer> make_demo_customers(int count) {
  DemoRandom random(kCustomerSeed);
  std::vector<DemoCustomer> customers;
  customers.reserve(static_cast<std::size_t>(count));
  for (int i = 1; i <= count; ++i) {
    DemoCustomer c;
    c.id = i;
    c.name = std::string(random.pick(kFirstNames)) + " " + random.pick(kLastNames);
    c.city = random.pick(kCities);
    c.birth = date_text(random.between(1940, 2004), random.between(1, 12), random.between(1, 28));
    c.active = random.percent(85);
    c.balance_cents = random.between(-50000, 2500000);
    if (random.percent(20)) c.notes = random.pick(kNotes);
    c.visits = random.between(0, 120);
    c.credit_cents = int64_t{random.between(1, 40)} * 25000;
    customers.push_back(std::move(c));
  }
  return customers;
}

std::vector<DemoOrder> make_demo_orders(int count, int customer_count) {
  DemoRandom random(kOrderSeed);
  std::vector<DemoOrder> orders;
  orders.reserve(static_cast<std::size_t>(count));
  constexpr int kDaysCovered = 730;  // two years of orders, in order-number order
  for (int i = 1; i <= count; ++i) {
    DemoOrder o;
    o.order_no = 10000 + i;
    o.cust_id = random.between(1, customer_count);
    o.ordered = demo_date_after(2023, (i - 1) * kDaysCovered / count);
    o.amount_cents = random.between(500, 250000);
    // The last weeks' orders are partly still waiting.
    o.shipped = i < count - 40 ? random.percent(97) : random.percent(40);
    if (random.percent(15)) o.remarks = random.pick(kRemarks);
    o.cancelled = i % 97 == 0;
    if (o.cancelled) o.remarks = "Cancelled by the customer";
    orders.push_back(std::move(o));
  }
  return orders;
}

}  // namespace vgx
