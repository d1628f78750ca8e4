// See NoteMaker.h.
#include "NoteMaker.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "Text.h"

namespace simulator {

namespace {

// Rich-text items are kept below the size that a host can read in one piece.
constexpr std::size_t LargestBody = 40000;
constexpr DWORD PlainFont = 0x0A000001;  // 10 points, black, plain, sans serif

// Packed and little-endian: the form on disk.
class Packed {
 public:
  Packed& byte(std::uint32_t value) { return integer(value, 1); }
  Packed& word(std::uint32_t value) { return integer(value, 2); }
  Packed& dword(std::uint32_t value) { return integer(value, 4); }
  Packed& time(const TIMEDATE& value) { return dword(value.Innards[0]).dword(value.Innards[1]); }
  Packed& bytes(std::string_view value) {
    data_.insert(data_.end(), value.begin(), value.end());
    return *this;
  }
  std::size_t size() const { return data_.size(); }
  std::vector<BYTE> take() { return std::exchange(data_, {}); }

 private:
  Packed& integer(std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i) data_.push_back(static_cast<BYTE>(value >> (8 * i)));
    return *this;
  }

  std::vector<BYTE> data_;
};

template <typename Value>
std::vector<BYTE> bytesOf(const Value& value) {
  std::vector<BYTE> bytes(sizeof value);
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

// A count of each kind, the values, the pairs.
template <typename Value, typename Pair>
std::vector<BYTE> rangeOf(const std::vector<Value>& values, const std::vector<Pair>& pairs) {
  const RANGE counts{static_cast<USHORT>(values.size()), static_cast<USHORT>(pairs.size())};
  std::vector<BYTE> range = bytesOf(counts);
  const auto append = [&range](const auto& value) {
    const std::vector<BYTE> bytes = bytesOf(value);
    range.insert(range.end(), bytes.begin(), bytes.end());
  };
  std::for_each(values.begin(), values.end(), append);
  std::for_each(pairs.begin(), pairs.end(), append);
  return range;
}

}  // namespace

void NoteMaker::item(std::string_view name, WORD type, WORD flags, std::vector<BYTE> value) {
  items_.push_back({std::string(name), flags, type, std::move(value)});
}

void NoteMaker::text(std::string_view name, std::string_view value, WORD flags) {
  const std::string lmbcs = utf8ToLmbcs(value);
  item(name, TYPE_TEXT, flags, {lmbcs.begin(), lmbcs.end()});
}

void NoteMaker::textList(std::string_view name, const std::vector<std::string>& values,
                         WORD flags) {
  Packed list;
  Packed texts;
  list.word(static_cast<std::uint32_t>(values.size()));
  for (const std::string& value : values) {
    const std::string lmbcs = utf8ToLmbcs(value);
    list.word(static_cast<std::uint32_t>(lmbcs.size()));
    texts.bytes(lmbcs);
  }
  std::vector<BYTE> all = list.take();
  const std::vector<BYTE> tail = texts.take();
  all.insert(all.end(), tail.begin(), tail.end());
  item(name, TYPE_TEXT_LIST, flags, std::move(all));
}

void NoteMaker::number(std::string_view name, double value) {
  item(name, TYPE_NUMBER, ITEM_SUMMARY, bytesOf(value));
}

void NoteMaker::time(std::string_view name, const TIMEDATE& value) {
  item(name, TYPE_TIME, ITEM_SUMMARY, bytesOf(value));
}

void NoteMaker::numberRange(std::string_view name, const std::vector<double>& values,
                            const std::vector<NUMBER_PAIR>& pairs) {
  item(name, TYPE_NUMBER_RANGE, ITEM_SUMMARY, rangeOf(values, pairs));
}

void NoteMaker::timeRange(std::string_view name, const std::vector<TIMEDATE>& values,
                          const std::vector<TIMEDATE_PAIR>& pairs) {
  item(name, TYPE_TIME_RANGE, ITEM_SUMMARY, rangeOf(values, pairs));
}

void NoteMaker::mimePart(std::string_view name, std::string_view headers, std::string_view data) {
  constexpr std::uint32_t version = 2;
  Packed part;
  part.word(version).dword(MIME_PART_HAS_HEADERS).byte(MIME_PART_BODY).byte(0);
  part.word(static_cast<std::uint32_t>(headers.size() + data.size())).word(0);  // no boundary
  part.word(static_cast<std::uint32_t>(headers.size())).word(0).dword(0).bytes(headers).bytes(data);
  item(name, TYPE_MIME_PART, 0, part.take());
}

void NoteMaker::richText(std::string_view name, const std::vector<std::string>& paragraphs) {
  Packed records;
  for (const std::string& paragraph : paragraphs) {
    const std::string whole = utf8ToLmbcs(paragraph);
    std::string_view rest = whole;
    do {
      const std::string_view part = cutLmbcs(rest, LargestBody / 2);
      rest.remove_prefix(part.size());
      if (records.size() + part.size() > LargestBody) item(name, TYPE_COMPOSITE, 0, records.take());
      records.word(SIG_CD_TEXT).word(static_cast<std::uint32_t>(8 + part.size())).dword(PlainFont);
      records.bytes(part);
      if (records.size() % 2 != 0) records.bytes(std::string_view("\0", 1));
    } while (!rest.empty());
  }
  item(name, TYPE_COMPOSITE, 0, records.take());
}

void NoteMaker::attach(Store& store, std::string_view fileName, std::span<const BYTE> bytes,
                       const TIMEDATE& modified) {
  ObjectHeader object;
  object.size = static_cast<DWORD>(bytes.size());
  const DWORD id = store.addObject(object);
  store.writeObject(id, 0, bytes);
  const std::string name = utf8ToLmbcs(fileName);
  Packed file;
  file.word(OBJECT_FILE).dword(id).word(static_cast<std::uint32_t>(name.size()));
  file.word(0).word(COMPRESS_NONE).word(0).word(0);  // host, compression, attributes, flags
  file.dword(object.size).time(modified).time(modified).bytes(name);
  item("$FILE", TYPE_OBJECT, ITEM_SUMMARY | ITEM_SIGN | ITEM_SEAL, file.take());
}

}  // namespace simulator
