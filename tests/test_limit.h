// Changes a limit of this process while the object exists.
#pragma once

#include <sys/resource.h>

#include <algorithm>

class Limit {
 public:
  Limit(__rlimit_resource_t limited, rlim_t most) : resource(limited) {
    ::getrlimit(resource, &usual);
    const rlimit limit{std::min(most, usual.rlim_max), usual.rlim_max};
    ::setrlimit(resource, &limit);
  }
  ~Limit() { ::setrlimit(resource, &usual); }
  Limit(const Limit &) = delete;
  Limit &operator=(const Limit &) = delete;

 private:
  __rlimit_resource_t resource;
  rlimit usual{};
};
