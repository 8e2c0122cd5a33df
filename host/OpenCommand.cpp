#include "host/OpenCommand.h"

#include <cstring>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "Files.h"
#include "StandardFile.h"
#include "host/AcquireCommand.h"
#include "host/Commands.h"
#include "host/DesktopServices.h"
#include "host/Document.h"
#include "host/ExportCommand.h"
#include "host/HostOptions.h"
#include "host/ImagePath.h"
#include "host/MessageAlert.h"
#include "host/Messages.h"

namespace tessel::host {

namespace {

constexpr CommandOptions kOpenOptions{"open", kScriptOption};
constexpr const char* kOpener = "xdg-open";

// The file, made absolute: the document's folder and the opener need it so.
std::optional<FileArguments> parse_arguments(std::span<const std::string_view> args,
                                             std::ostream& err) {
  std::optional<FileArguments> parsed = parse_file_arguments(args, kOpenOptions, err);
  if (!parsed) return std::nullopt;
  if (parsed->file.empty()) {
    err << message(Text::kOpenNeedsFile) << '\n';
    return std::nullopt;
  }
  parsed->file = std::filesystem::absolute(parsed->file);
  return parsed;
}

// The image a TIFF's document tag names; nothing for any other file, or one
// that cannot be read as a document, which is taken for an image.
std::optional<std::filesystem::path> tagged_image_of(const std::filesystem::path& file) {
  Expected<Document> document = read_document_description(file);
  if (!document) return std::nullopt;
  return tagged_image(*document);
}

// The desktop offered Tessel for what the file holds, which its name may
// not say; Linux keeps no Finder type to settle it, so the contents stand in.
void take_type_from_contents(const std::filesystem::path& file) {
  if (std::optional<OSType> type = desktop::type_by_contents(file))
    platform::files::assume_type(file, *type);
}

// Export's own command line, so that open writes back exactly as export does.
int export_back(const FileArguments& parsed, std::ostream& out, std::ostream& err) {
  std::vector<std::string> words{parsed.file.string()};
  if (parsed.common.script) words.insert(words.end(), {"--script", parsed.common.script->string()});
  const std::vector<std::string_view> args(words.begin(), words.end());
  return run_export_command(args, out, err);
}

// Beside the image when its folder takes documents, else in the pictures folder.
std::filesystem::path document_folder(const std::filesystem::path& image, std::ostream& out) {
  const std::filesystem::path beside = image.parent_path();
  if (desktop::folder_takes_documents(beside)) return beside;
  const std::filesystem::path pictures = desktop::pictures_folder();
  out << message(Text::kOpenElsewhere, {image.string(), pictures.string()}) << '\n';
  return pictures;
}

int acquire_and_show(const FileArguments& parsed, std::ostream& out, std::ostream& err) {
  take_type_from_contents(parsed.file);
  if (auto problem = image_path_problem(parsed.file)) {
    err << *problem << '\n';
    return kExitFailed;
  }
  AcquireRequest request{parsed.file};
  request.folder = document_folder(parsed.file, out);
  request.freeName = true;
  if (!apply_script(parsed.common, err)) return kExitFailed;
  // The desktop has chosen the image: the selection dialog comes first.
  platform::standard_file::answer_unseen(true);
  std::filesystem::path written;
  if (int status = acquire_document(request, out, err, &written); status != kExitDone) {
    return status;
  }
  if (int error = desktop::launch_detached(kOpener, {written.string()}); error != 0) {
    err << message(Text::kOpenerFailed, {written.string(), std::strerror(error)}) << '\n';
    return kExitFailed;
  }
  return kExitDone;
}

int open_file(std::span<const std::string_view> args, std::ostream& out, std::ostream& err) {
  const std::optional<FileArguments> parsed = parse_arguments(args, err);
  if (!parsed) return kExitFailed;
  if (auto problem = missing_file_problem(parsed->file)) {
    err << *problem << '\n';
    return kExitFailed;
  }
  if (std::optional<std::filesystem::path> image = tagged_image_of(parsed->file)) {
    // The image the document came from, opened by its contents as before.
    take_type_from_contents(*image);
    return export_back(*parsed, out, err);
  }
  return acquire_and_show(*parsed, out, err);
}

}  // namespace

int run_open_command(std::span<const std::string_view> args, std::ostream& out, std::ostream& err) {
  if (has_terminal()) return open_file(args, out, err);
  std::ostringstream said;
  const int status = open_file(args, said, said);
  if (!said.str().empty() && !show_message_alert(said.str())) err << said.str();
  return status;
}

}  // namespace tessel::host
