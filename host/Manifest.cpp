#include "Manifest.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <optional>
#include <utility>

#include "ArchiveFolder.h"
#include "Failure.h"

namespace host {
namespace {

std::optional<std::uint32_t> checksumFrom(const std::string& text) {
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number, 16);
  return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

// The UNID and the entry of a line, as far as this program needs them.
std::optional<std::pair<std::string, Manifest::Entry>> entryFrom(const std::string& line) {
  const Json object = Json::parse(line, nullptr, false);
  if (!object.is_object()) {
    return std::nullopt;
  }
  const auto text = [&object](const char* name) {
    const auto member = object.find(name);
    return member != object.end() && member->is_string() ? member->get<std::string>()
                                                         : std::string();
  };
  const std::string unid = text("unid");
  const std::optional<std::uint32_t> checksum = checksumFrom(text("checksum"));
  const auto dxlBytes = object.find("dxlBytes");
  if (!isUnidText(unid) || text("file") != unid + copySuffix || !checksum ||
      dxlBytes == object.end() || !dxlBytes->is_number_unsigned()) {
    return std::nullopt;
  }
  return std::pair(unid, Manifest::Entry{dxlBytes->get<DWORD>(), *checksum});
}

}  // namespace

Json archivingFacts(const std::string& text) {
  Json facts = {{"attachments", nullptr},
                {"bytesBefore", nullptr},
                {"link", nullptr},
                {"url", nullptr},
                {"archived", nullptr}};
  const Json told = Json::parse(text, nullptr, false);
  for (auto& [name, fact] : facts.items()) {
    if (told.is_object() && told.contains(name) && told[name].is_primitive()) {
      fact = told[name];
    }
  }
  return facts;
}

std::string ManifestLine::json() const {
  const Json line = {{"unid", copy.unid},
                     {"noteId", fmt::format("{:08X}", noteId)},
                     {"file", copy.unid + copySuffix},
                     {"subject", subject},
                     {"dxlBytes", copy.dxlBytes},
                     {"checksum", fmt::format("{:08X}", copy.checksum)},
                     {"attachments", facts.at("attachments")},
                     {"bytesBefore", facts.at("bytesBefore")},
                     {"bytesAfter", bytesAfter ? Json(*bytesAfter) : Json()},
                     {"link", facts.at("link")},
                     {"url", facts.at("url")},
                     {"archived", facts.at("archived")}};
  return line.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Manifest::Manifest(std::string path) : path_(std::move(path)) {
  open();
  try {
    read();
  } catch (...) {
    close(file_);
    throw;
  }
}

Manifest::~Manifest() {
  close(file_);
}

void Manifest::open() {
  file_ = ::open(path_.c_str(), O_RDWR | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (file_ < 0) {
    throw fileFailure(path_, "cannot be opened", errno);
  }
  syncDirectoryOf(path_);
}

void Manifest::read() {
  std::ifstream lines(path_, std::ios::binary);
  std::string line;
  off_t whole = 0;
  for (std::size_t number = 1; std::getline(lines, line); ++number) {
    if (lines.eof()) {  // Without its end: the power failed while it was written.
      if (ftruncate(file_, whole) != 0 || fdatasync(file_) != 0) {
        throw fileFailure(path_, "ends in a torn line that cannot be cut off", errno);
      }
      return;
    }
    whole += static_cast<off_t>(line.size()) + 1;
    if (const auto entry = entryFrom(line)) {
      entries_.insert_or_assign(entry->first, entry->second);
    } else {
      damaged_.push_back(number);
    }
  }
  if (lines.bad() || !lines.eof()) {
    throw fileFailure(path_, "cannot be read", EIO);
  }
}

void Manifest::append(const ManifestLine& line) {
  const std::string text = line.json() + '\n';
  struct stat before = {};
  if (fstat(file_, &before) != 0) {
    throw fileFailure(path_, "cannot be written", errno);
  }
  ssize_t written = 0;
  do {
    written = write(file_, text.data(), text.size());
  } while (written < 0 && errno == EINTR);
  if (written != static_cast<ssize_t>(text.size()) || fdatasync(file_) != 0) {
    const int error = written < 0 || written == static_cast<ssize_t>(text.size()) ? errno : ENOSPC;
    // If this fails as well, the next run cuts it off.
    [[maybe_unused]] const int cut = ftruncate(file_, before.st_size);
    throw fileFailure(path_, "cannot be written", error);
  }
  entries_.insert_or_assign(line.copy.unid, Entry{line.copy.dxlBytes, line.copy.checksum});
}

void Manifest::withdraw(const std::set<std::string>& unids) {
  const std::string temporary = path_ + temporarySuffix;
  const int made =
      ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
  std::ifstream lines(path_, std::ios::binary);
  std::ofstream rest(temporary, std::ios::binary);
  std::string line;
  while (std::getline(lines, line)) {
    const auto entry = entryFrom(line);
    if (!entry || !unids.contains(entry->first)) {
      rest << line << '\n';
    }
  }
  rest.close();
  const bool done = made >= 0 && lines.eof() && !lines.bad() && rest && fsync(made) == 0 &&
                    rename(temporary.c_str(), path_.c_str()) == 0;
  const int error = errno;
  if (made >= 0) {
    close(made);
  }
  if (!done) {
    unlink(temporary.c_str());
    throw fileFailure(path_, "cannot be written anew", error);
  }
  close(file_);
  file_ = -1;
  open();
  for (const std::string& unid : unids) {
    entries_.erase(unid);
  }
}

}  // namespace host
