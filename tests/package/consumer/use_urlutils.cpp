#include <urlutils/RequestUtils.h>

#include <cstdio>

int main() {
  using namespace korvane;
  const std::string query = RequestUtils::URLQueryWithParameters({{"to", List{"a", "b c"}}});
  std::puts(query.c_str());
  return query == "to=a&to=b%20c" ? 0 : 1;
}
