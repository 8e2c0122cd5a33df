#include "Compiler.h"

#include <algorithm>
#include <iterator>

#include "AppleDouble.h"
#include "MacErrors.h"
#include "Parser.h"
#include "SourceFiles.h"

namespace tessel::rescomp {
namespace {

using platform::resources::Resource;

constexpr std::size_t kFinderInfoBytes = 32;  // Finder info and extended Finder info

struct Located {
  Resource resource;
  std::string where;  // "file:line"
};

std::string type_text(ResType type) {
  std::string text = "'";
  for (int shift = 24; shift >= 0; shift -= 8) text += char((type >> shift) & 0xFF);
  return text + "'";
}

// The resources of one source, each with where it was defined; on failure
// error holds the message and the result is empty.
std::vector<Located> compile_located(std::string_view text, const std::filesystem::path& file,
                                     std::string& error) {
  std::vector<Located> located;
  try {
    for (ParsedResource& parsed : parse_source(tokenize(text), file.parent_path())) {
      located.push_back(
          Located{std::move(parsed.resource), file.string() + ":" + std::to_string(parsed.line)});
    }
  } catch (const SourceError& e) {
    error = file.string() + ":" + std::to_string(e.line) + ": " + e.message;
    located.clear();
  }
  return located;
}

// An error naming the second definition of a type and ID, or empty.
std::string find_duplicate(const std::vector<Located>& all) {
  for (auto later = all.begin(); later != all.end(); ++later) {
    auto earlier = std::find_if(all.begin(), later, [&](const Located& l) {
      return l.resource.type == later->resource.type && l.resource.id == later->resource.id;
    });
    if (earlier != later) {
      return later->where + ": " + type_text(later->resource.type) + " " +
             std::to_string(later->resource.id) + " is already defined at " + earlier->where;
    }
  }
  return {};
}

CompileResult finish(std::vector<Located> all) {
  CompileResult result;
  result.error = find_duplicate(all);
  if (!result.ok()) return result;
  for (Located& l : all) result.resources.push_back(std::move(l.resource));
  return result;
}

constexpr std::size_t kLargestSource = std::size_t(4) << 20;

std::optional<std::string> read_text(const std::filesystem::path& file, std::string& error) {
  std::string why;
  auto bytes = read_whole_file(file, kLargestSource, why);
  if (!bytes) {
    error = file.string() + ": cannot read: " + why;
    return std::nullopt;
  }
  return std::string(bytes->begin(), bytes->end());
}

std::vector<UInt8> finder_info_entry(const std::vector<UInt8>* old, const FInfo& info) {
  std::vector<UInt8> entry = old != nullptr ? *old : std::vector<UInt8>();
  entry.resize(std::max(entry.size(), kFinderInfoBytes), 0);
  std::vector<UInt8> encoded = platform::appledouble::encode_finder_info(info);
  std::copy(encoded.begin(), encoded.end(), entry.begin());
  return entry;
}

}  // namespace

CompileResult compile_text(std::string_view text, const std::filesystem::path& file) {
  CompileResult result;
  std::vector<Located> located = compile_located(text, file, result.error);
  if (!result.ok()) return result;
  return finish(std::move(located));
}

CompileResult compile_files(const std::vector<std::filesystem::path>& files) {
  std::vector<Located> all;
  for (const std::filesystem::path& file : files) {
    CompileResult failed;
    std::optional<std::string> text = read_text(file, failed.error);
    if (!text) return failed;
    std::vector<Located> located = compile_located(*text, file, failed.error);
    if (!failed.ok()) return failed;
    std::move(located.begin(), located.end(), std::back_inserter(all));
  }
  return finish(std::move(all));
}

OSErr write_resource_fork(const std::filesystem::path& target,
                          const std::vector<Resource>& resources,
                          std::optional<FInfo> finder_info) {
  namespace appledouble = platform::appledouble;
  std::optional<std::vector<UInt8>> fork =
      platform::resources::serialize_fork(platform::resources::ResourceFork{0, resources});
  if (!fork) return paramErr;
  auto existing = appledouble::read_sidecar(target);
  if (!existing) return existing.error();
  appledouble::Sidecar sidecar = existing->value_or(appledouble::Sidecar{});
  sidecar.set(appledouble::kResourceForkEntry, std::move(*fork));
  if (finder_info) {
    sidecar.set(appledouble::kFinderInfoEntry,
                finder_info_entry(sidecar.find(appledouble::kFinderInfoEntry), *finder_info));
  }
  return appledouble::write_sidecar(target, sidecar);
}

}  // namespace tessel::rescomp
