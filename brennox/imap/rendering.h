// The contents that the rendering of an IMAP message shows, fetched as it asks for them.
#pragma once

#include <brennox/Data.h>
#include <brennox/Ref.h>
#include <brennox/String.h>

#include <map>
#include <string>
#include <vector>

#include "html/render.h"

namespace brennox {
class HTMLRendererIMAPCallback;
class IMAPMessage;
class IMAPPart;
}  // namespace brennox

namespace brennox::imap {

// Lives as long as one call of htmlRendering(). While it does, it is this thread's current one: the
// default callback, which knows neither message nor session, finds both here.
class Rendering final : public html::ContentSource {
 public:
  Rendering(IMAPMessage* message, String* folder, HTMLRendererIMAPCallback* callback);
  ~Rendering() override;
  Rendering(const Rendering&) = delete;
  Rendering& operator=(const Rendering&) = delete;

  // Null outside of a rendering.
  static Rendering* current() noexcept;

  Data* contentOf(AbstractPart* part) override;
  String* textOf(AbstractPart* part) override;
  std::optional<std::uint64_t> sizeOf(AbstractPart* part) override;
  void prefetch(const std::vector<AbstractPart*>& parts) override;

  // For the default callback: the content through the message's session, and what will be asked
  // for.
  Data* fetch(String* folder, IMAPPart* part);
  void want(IMAPPart* part);

 private:
  void fetchWanted(String* folder);

  IMAPMessage* message_;
  String* folder_;
  HTMLRendererIMAPCallback* callback_;
  Rendering* outer_;
  std::vector<Ref<IMAPPart>> wanted_;
  // By part ID; null for what could not be had, which is not asked for again.
  std::map<std::string, Ref<Data>> contents_;
};

}  // namespace brennox::imap
