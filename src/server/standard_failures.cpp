// How the linked-in standard library fails. Its own functions for it build texts, print to a
// console that hosts have not got, and take names apart for it: together a quarter of this
// library's size. These take their place when the library is linked. Should new code need another
// of them, the linker reports these as defined twice.
#include <bits/functexcept.h>
#include <cstdlib>
#include <exception>
#include <new>

namespace {

// A mistake of ours, such as a position behind the end of a text.
class BrokenRule final : public std::exception {
 public:
  explicit BrokenRule(const char* rule) : rule_(rule) {}
  const char* what() const noexcept override { return rule_; }

 private:
  const char* const rule_;  // of the standard library: a literal
};

}  // namespace

namespace std {

// What is too long for the address space is too long for memory.
void __throw_length_error(const char*) { throw bad_alloc(); }
void __throw_bad_alloc() { throw bad_alloc(); }
void __throw_bad_array_new_length() { throw bad_alloc(); }
void __throw_logic_error(const char* rule) { throw BrokenRule(rule); }
void __throw_invalid_argument(const char* rule) { throw BrokenRule(rule); }
void __throw_out_of_range(const char* rule) { throw BrokenRule(rule); }
void __throw_out_of_range_fmt(const char* rule, ...) { throw BrokenRule(rule); }

}  // namespace std

namespace __gnu_cxx {

void __verbose_terminate_handler();
void __verbose_terminate_handler() { std::abort(); }

}  // namespace __gnu_cxx
