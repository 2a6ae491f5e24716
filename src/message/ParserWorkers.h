// Reading and importing messages, blocking and not.
#pragma once

#include <brennox/Data.h>
#include <brennox/MessageParser.h>
#include <brennox/Ref.h>
#include <brennox/String.h>

#include <string>

#include "main/Worker.h"

namespace velkor {

class WMessageParser;

// A message file and what governs its reading. Of the old parser's settings the temporary folder
// alone is kept; a read starts with the defaults for the others.
struct FileInput {
  static constexpr char kNoParserText[] = "File was not imported";
  static constexpr char kFailureText[] = "Error while reading message data";

  FileInput(brennox::MessageParser& previous, std::string path);
  // Any thread; null when the file cannot be read.
  brennox::Ref<brennox::MessageParser> Parse() const;

  std::string path;
  brennox::Ref<brennox::String> tempFolder;
};

// A message's bytes and what governs their import: all settings of the old parser are kept.
struct DataInput {
  static constexpr char kNoParserText[] = "Data was not imported";
  static constexpr char kFailureText[] = "Error while importing message data";

  DataInput(brennox::MessageParser& previous, brennox::Ref<brennox::Data> data);
  brennox::Ref<brennox::MessageParser> Parse() const;

  brennox::Ref<brennox::Data> data;
  brennox::Ref<brennox::String> tempFolder;
  brennox::Ref<brennox::String> keyUsagePolicy;
  bool doNotDecrypt;
};

// Parses on the worker pool. The wrapper changes to the new parser on the script thread, just
// before the callback is called.
template <class Input>
class ParseWorker final : public Worker {
 public:
  ParseWorker(const Napi::CallbackInfo& info, WMessageParser& parser, Input input,
              Napi::Value callback);

 private:
  void Work() override;
  void Succeeded() override;
  void Failed() override;

  WMessageParser& parser_;
  const Input input_;
  brennox::Ref<brennox::MessageParser> result_;
};

using ReadWorker = ParseWorker<FileInput>;
using ImportWorker = ParseWorker<DataInput>;

}  // namespace velkor
