// The library's coders and header parsers alone. Figures are of input bytes a second.
#include <benchmark/benchmark.h>
#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/Data.h>
#include <brennox/MessageHeader.h>
#include <brennox/String.h>

#include <cstring>
#include <random>
#include <string>

#include "rfc822/address_list.h"
#include "rfc822/header_writer.h"
#include "text/base64.h"
#include "text/charset.h"
#include "text/encoded_word.h"
#include "text/quoted_printable.h"

namespace {

using namespace brennox;

constexpr std::size_t kSize = 4 << 20;
constexpr std::string_view kSentence =
    "Добрый день! Высылаю вам отчёт за прошлый месяц, посмотрите.\r\n";

std::string randomBytes() {
  std::mt19937 random(1);
  std::string bytes(kSize, '\0');
  for (char& c : bytes) {
    c = static_cast<char>(random());
  }
  return bytes;
}

std::string repeated(std::string_view text) {
  std::string out;
  while (out.size() < kSize) {
    out += text;
  }
  return out;
}

std::string base64Lines() {
  const std::string bytes = randomBytes();
  std::string lines(text::base64EncodedLinesLength(bytes.size()), '\0');
  text::base64EncodeLines(bytes, lines.data());
  return lines;
}

void count(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

void BM_Memcpy(benchmark::State& state) {
  const std::string bytes = randomBytes();
  std::string out(bytes.size(), '\0');
  for (auto _ : state) {
    std::memcpy(out.data(), bytes.data(), bytes.size());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  count(state, bytes.size());
}
BENCHMARK(BM_Memcpy);

void BM_Base64EncodeLines(benchmark::State& state) {
  const std::string bytes = randomBytes();
  std::string out(text::base64EncodedLinesLength(bytes.size()), '\0');
  for (auto _ : state) {
    text::base64EncodeLines(bytes, out.data());
    benchmark::ClobberMemory();
  }
  count(state, bytes.size());
}
BENCHMARK(BM_Base64EncodeLines);

void BM_Base64DecodeLines(benchmark::State& state) {
  const std::string lines = base64Lines();
  std::string out(text::base64DecodedBound(lines.size()), '\0');
  for (auto _ : state) {
    benchmark::DoNotOptimize(text::base64Decode(lines, out.data()));
    benchmark::ClobberMemory();
  }
  count(state, lines.size());
}
BENCHMARK(BM_Base64DecodeLines);

void BM_QuotedPrintableDecodeUtf8(benchmark::State& state) {
  std::string encoded;
  text::quotedPrintableEncode(repeated(kSentence), encoded);
  std::string out(encoded.size(), '\0');
  for (auto _ : state) {
    benchmark::DoNotOptimize(text::quotedPrintableDecode(encoded, out.data()));
    benchmark::ClobberMemory();
  }
  count(state, encoded.size());
}
BENCHMARK(BM_QuotedPrintableDecodeUtf8);

void BM_QuotedPrintableDecodeAscii(benchmark::State& state) {
  std::string encoded;
  text::quotedPrintableEncode(
      repeated("Plain text in lines of a usual length, with = one equals sign in it.\r\n"),
      encoded);
  std::string out(encoded.size(), '\0');
  for (auto _ : state) {
    benchmark::DoNotOptimize(text::quotedPrintableDecode(encoded, out.data()));
    benchmark::ClobberMemory();
  }
  count(state, encoded.size());
}
BENCHMARK(BM_QuotedPrintableDecodeAscii);

void BM_QuotedPrintableEncode(benchmark::State& state) {
  const std::string bytes = repeated(kSentence);
  for (auto _ : state) {
    std::string encoded;
    text::quotedPrintableEncode(bytes, encoded);
    benchmark::DoNotOptimize(encoded.data());
  }
  count(state, bytes.size());
}
BENCHMARK(BM_QuotedPrintableEncode);

void BM_ValidateUtf8(benchmark::State& state) {
  const std::string bytes = repeated(kSentence);
  for (auto _ : state) {
    benchmark::DoNotOptimize(text::isValidUtf8(bytes));
  }
  count(state, bytes.size());
}
BENCHMARK(BM_ValidateUtf8);

void decodeCharset(benchmark::State& state, std::string_view charset) {
  std::string bytes;
  text::appendEncoded(repeated(kSentence), charset, bytes);
  for (auto _ : state) {
    std::string out;
    text::appendInCharset(bytes, charset, out);
    benchmark::DoNotOptimize(out.data());
  }
  count(state, bytes.size());
}
BENCHMARK_CAPTURE(decodeCharset, koi8_r, "koi8-r");
BENCHMARK_CAPTURE(decodeCharset, windows_1251, "windows-1251");
BENCHMARK_CAPTURE(decodeCharset, gb18030, "gb18030");
BENCHMARK_CAPTURE(decodeCharset, utf_8, "utf-8");

void BM_DecodeEncodedWords(benchmark::State& state) {
  const std::string raw =
      "=?utf-8?B?0JTQvtCx0YDRi9C5INC00LXQvdGMISDQktGL0YHRi9C70LDRjg==?=\r\n"
      " =?utf-8?Q?_=D0=B2=D0=B0=D0=BC_=D0=BE=D1=82=D1=87=D1=91=D1=82?=";
  for (auto _ : state) {
    benchmark::DoNotOptimize(text::decodeWords(raw));
  }
  count(state, raw.size());
}
BENCHMARK(BM_DecodeEncodedWords);

void BM_ParseAddressList(benchmark::State& state) {
  const std::string raw =
      " \"Doe, John\" <john@example.com>, =?utf-8?Q?J=C3=BCrgen?= <j@example.com>,\r\n"
      " Mary Major <mary@example.com>, plain@example.com";
  for (auto _ : state) {
    std::vector<rfc822::Mailbox> mailboxes;
    rfc822::parseAddressList(raw, {}, rfc822::EncodedWords::kDecode, mailboxes);
    benchmark::DoNotOptimize(mailboxes.data());
  }
  count(state, raw.size());
}
BENCHMARK(BM_ParseAddressList);

// Every property of a usual header, and its twenty other fields.
void BM_ReadHeader(benchmark::State& state) {
  std::string mail =
      "Received: from a.example.com by b.example.com; Sat, 21 Nov 2026 10:00:02 +0000\r\n"
      "Message-ID: <1@example.com>\r\nIn-Reply-To: <2@example.com>\r\n"
      "References: <3@example.com>\r\n <2@example.com>\r\nDate: Sat, 21 Nov 2026 10:00:00 +0000\r\n"
      "From: =?utf-8?B?0J/RgNC40LLQtdGC?= <a@example.com>\r\nTo: Mary Major <c@example.com>,\r\n"
      " d@example.com\r\nCc: e@example.com\r\nSubject: =?utf-8?Q?Gr=C3=BC=C3=9Fe?= an alle\r\n"
      "MIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n";
  for (int i = 0; i < 18; ++i) {
    mail += "X-Field-" + std::to_string(i) + ": some value of usual length, " + std::to_string(i) +
            "\r\n";
  }
  mail += "\r\nbody";
  const bool extras = state.range(0) != 0;
  for (auto _ : state) {
    const AutoreleasePool pool;
    MessageHeader* const header =
        MessageHeader::headerWithData(Data::dataWithBytes(mail.data(), mail.size()));
    benchmark::DoNotOptimize(header->messageID());
    benchmark::DoNotOptimize(header->inReplyTo());
    benchmark::DoNotOptimize(header->references());
    benchmark::DoNotOptimize(header->date());
    benchmark::DoNotOptimize(header->receivedDate());
    benchmark::DoNotOptimize(header->from());
    benchmark::DoNotOptimize(header->to());
    benchmark::DoNotOptimize(header->cc());
    benchmark::DoNotOptimize(header->subject());
    if (extras) {
      Array* const names = header->allExtraHeadersNames();
      for (unsigned int i = 0; i < names->count(); ++i) {
        benchmark::DoNotOptimize(header->extraHeaderValueForName(names->at<String>(i)));
      }
    }
  }
  count(state, mail.size());
}
BENCHMARK(BM_ReadHeader)->Arg(0)->Arg(1);

}  // namespace

BENCHMARK_MAIN();
