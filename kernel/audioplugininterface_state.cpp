// The host's state chunk: the plug-in's whole tree in compressed binary mark-up. Reading
// takes any stored form, so chunks of hosts that kept an XML or uncompressed state load too.
// A chunk that fails leaves the plug-in as it stood; the message goes to the log and stays in
// lastError_ for the adapter to show.

#include "base/exception.h"
#include "base/format.h"
#include "base/log.h"
#include "base/memorystream.h"
#include "base/tagitem.h"
#include "kernel/audioplugin.h"
#include "kernel/audioplugininterface.h"
#include "kernel/undo.h"

namespace {

RString Failure(const char* templateText, const RString& product, const RString& message) {
  return RFormat(RString(templateText, int(std::char_traits<char>::length(templateText)))) << product << message;
}

} // namespace

bool RAudioPluginInterface::SaveState(RStream& chunk) {
  RString message;
  try {
    RTagItem root;
    plugin_->SaveStateTree(root);
    // Composed in memory first, so that a failure never leaves half a chunk with the host.
    RMemoryStream memory;
    root.Save(memory, true);
    chunk.Write(memory.GetData(), memory.GetSize());
    return true;
  } catch (const RException& failure) {
    message = failure.GetMessage();
  } catch (...) {
    message = RString("SYSTEM EXCEPTION! RAudioPluginInterface::SaveState");
  }
  lastError_ = Failure("Error saving plugin settings for {0}.\n\n{1}", plugin_->GetName(), message);
  RLog::Write(lastError_);
  return false;
}

bool RAudioPluginInterface::LoadState(RStream& chunk) {
  // A host restoring its project is not an edit of the user's.
  RNoUndoScope quiet(nullptr);
  RString message;
  try {
    RTagItem root;
    root.Load(chunk);
    plugin_->LoadStateTree(root);
    return true;
  } catch (const RException& failure) {
    message = failure.GetMessage();
  } catch (...) {
    message = RString("SYSTEM EXCEPTION! RAudioPluginInterface::LoadState");
  }
  lastError_ = Failure("Error loading plugin settings for {0}.\n\n{1}", plugin_->GetName(), message);
  RLog::Write(lastError_);
  return false;
}
