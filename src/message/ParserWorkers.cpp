#include "message/ParserWorkers.h"

#include <utility>

#include "message/WMessageParser.h"

namespace velkor {

FileInput::FileInput(brennox::MessageParser& previous, std::string messagePath)
    : path(std::move(messagePath)), tempFolder(previous.getTempFolder()) {}

brennox::Ref<brennox::MessageParser> FileInput::Parse() const {
  return brennox::MessageParser::messageParserWithContentsOfFile(
      brennox::String::stringWithText(path), tempFolder.get());
}

DataInput::DataInput(brennox::MessageParser& previous, brennox::Ref<brennox::Data> message)
    : data(std::move(message)),
      tempFolder(previous.getTempFolder()),
      keyUsagePolicy(previous.keyUsagePolicy()),
      doNotDecrypt(previous.doNotDecrypt()) {}

brennox::Ref<brennox::MessageParser> DataInput::Parse() const {
  return brennox::MessageParser::messageParserWithData(data.get(), tempFolder.get(), doNotDecrypt,
                                                       keyUsagePolicy.get());
}

template <class Input>
ParseWorker<Input>::ParseWorker(const Napi::CallbackInfo& info, WMessageParser& parser, Input input,
                                Napi::Value callback)
    : Worker(info.This().As<Napi::Object>(), callback, Input::kFailureText),
      parser_(parser),
      input_(std::move(input)) {}

template <class Input>
void ParseWorker<Input>::Work() {
  result_ = input_.Parse();
  if (!result_) {
    SetError(Input::kNoParserText);
  }
}

template <class Input>
void ParseWorker<Input>::Succeeded() {
  parser_.Take(std::move(result_));
}

template <class Input>
void ParseWorker<Input>::Failed() {
  parser_.Take(nullptr);
}

template class ParseWorker<FileInput>;
template class ParseWorker<DataInput>;

}  // namespace velkor
