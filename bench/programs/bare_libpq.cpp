// bare_libpq CONNINFO QUERY: the least that a lookup in a PostgreSQL server takes.
#include <dlfcn.h>

#include <cstdio>

namespace {

template <typename Function>
Function* Find(void* library, const char* name) {
  return reinterpret_cast<Function*>(dlsym(library, name));
}

}  // namespace

int main(int count, char** values) {
  void* library = dlopen("libpq.so.5", RTLD_LAZY);
  if (count != 3 || library == nullptr) return 1;
  void* connection = Find<void*(const char*)>(library, "PQconnectdb")(values[1]);
  void* result = Find<void*(void*, const char*)>(library, "PQexec")(connection, values[2]);
  const int rows = Find<int(void*)>(library, "PQntuples")(result);
  Find<void(void*)>(library, "PQfinish")(connection);
  return rows == 1 ? 0 : 1;
}
