// The least that sending with libcurl costs: the same mails, one connection each, from a bare
// program. Prints the wall-clock and the processor time in milliseconds.
//   send_floor URL COUNT < MESSAGE
#include <curl/curl.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

struct Source {
  const std::string& message;
  std::size_t position = 0;
};

std::size_t readSource(char* buffer, std::size_t size, std::size_t count, void* user) {
  auto* const source = static_cast<Source*>(user);
  const std::size_t length = std::min(size * count, source->message.size() - source->position);
  std::memcpy(buffer, source->message.data() + source->position, length);
  source->position += length;
  return length;
}

double processorTime() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  const auto milliseconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
  };
  return milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: send_floor URL COUNT\n");
    return 2;
  }
  std::string message;
  char buffer[65536];
  for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, stdin)) > 0;) {
    message.append(buffer, got);
  }
  curl_global_init(CURL_GLOBAL_ALL);
  const auto start = std::chrono::steady_clock::now();
  const double before = processorTime();
  for (int i = std::atoi(argv[2]); i > 0; i--) {
    CURL* const curl = curl_easy_init();
    Source source = {message};
    curl_slist* const recipients = curl_slist_append(nullptr, "to@example.test");
    curl_easy_setopt(curl, CURLOPT_URL, argv[1]);
    curl_easy_setopt(curl, CURLOPT_MAIL_FROM, "from@example.test");
    curl_easy_setopt(curl, CURLOPT_MAIL_RCPT, recipients);
    curl_easy_setopt(curl, CURLOPT_READFUNCTION, readSource);
    curl_easy_setopt(curl, CURLOPT_READDATA, &source);
    curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, 300L);
    const CURLcode result = curl_easy_perform(curl);
    curl_slist_free_all(recipients);
    curl_easy_cleanup(curl);
    if (result != CURLE_OK) {
      std::fprintf(stderr, "%s\n", curl_easy_strerror(result));
      return 1;
    }
  }
  const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
  std::printf("%f %f\n", took.count(), processorTime() - before);
  return 0;
}
