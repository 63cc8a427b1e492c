#pragma once
// What the commands that write a stored tree share: the forms a tree is written in, and the
// hand-over of the composed bytes to a file or standard output. The bytes are composed in
// memory first, so a failure leaves an existing output file as it was.

#include <string>

class RMemoryStream;
class RTagItem;

namespace quillon_cli {

// "xml" (tab-indented text), "rtg" (binary mark-up), "rtgz" (binary behind zlib) or
// "base64" (a '$' line of the binary's base-64).
void WriteTreeForm(const RTagItem& tree, const std::string& form, RMemoryStream& out);

// To the file at path, or to standard output for an empty path or "-".
void WriteOutput(RMemoryStream& result, const std::string& path);

} // namespace quillon_cli
