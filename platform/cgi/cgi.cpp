#include "platform/cgi/cgi.h"

#include <strings.h>
#include <unistd.h>
#include <uriparser/Uri.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr std::size_t kLargestForm = 64 * 1024;

bool IsFormPost() {
  constexpr char kForm[] = "application/x-www-form-urlencoded";
  const char* method = std::getenv("REQUEST_METHOD");
  const char* type = std::getenv("CONTENT_TYPE");
  return method != nullptr && std::strcmp(method, "POST") == 0 && type != nullptr &&
         strncasecmp(type, kForm, sizeof(kForm) - 1) == 0;
}

std::string ReadForm() {
  const char* length = std::getenv("CONTENT_LENGTH");
  std::size_t announced = 0;
  if (length != nullptr) {
    const auto [end, error] = std::from_chars(length, length + std::strlen(length), announced);
    if (error == std::errc::result_out_of_range) announced = kLargestForm;
  }
  std::string form(std::min(announced, kLargestForm), '\0');
  std::size_t size = 0;
  while (size < form.size()) {
    const ssize_t count = read(STDIN_FILENO, &form[size], form.size() - size);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    size += static_cast<std::size_t>(count);
  }
  form.resize(size);
  return form;
}

}  // namespace

int OrvaCgiInit(const char*, OrvaCgiParams* params) {
  params->values.clear();
  return 0;
}

const char* OrvaCgiGetParamLine() {
  if (!IsFormPost()) return std::getenv("QUERY_STRING");
  static std::string form;
  form = ReadForm();
  return form.c_str();
}

int OrvaCgiParseCGIParam(OrvaCgiParams* params, const char* line) {
  UriQueryListA* list = nullptr;
  int count = 0;
  if (uriDissectQueryMallocExA(&list, &count, line, line + std::strlen(line), URI_TRUE,
                               URI_BR_DONT_TOUCH) != URI_SUCCESS) {
    return -1;
  }
  const std::unique_ptr<UriQueryListA, decltype(&uriFreeQueryListA)> owner(list,
                                                                           &uriFreeQueryListA);
  for (; list != nullptr; list = list->next) {
    params->values.emplace(list->key, list->value == nullptr ? "" : list->value);
  }
  return 0;
}

const char* OrvaCgiGetCGIParam(const OrvaCgiParams* params, const char* name, int) {
  const auto found = params->values.find(name);
  return found == params->values.end() ? nullptr : found->second.c_str();
}

void OrvaCgiFree(OrvaCgiParams* params) { params->values.clear(); }
