// See ViewFormat.h.
#include "ViewFormat.h"

#include <algorithm>

#include "Export.h"
#include "ItemValue.h"
#include "Status.h"
#include "Text.h"

namespace simulator {

namespace {

constexpr std::string_view SizeFormula = "@DocLength";

template <typename Structure>
void append(std::vector<BYTE>& bytes, WORD type, const Structure& structure) {
  bytes.resize(bytes.size() + ODSLength(type));
  BYTE* place = &bytes[bytes.size() - ODSLength(type)];
  ODSWriteMemory(&place, type, &structure, 1);
}

[[noreturn]] void damaged() {
  throw StatusError(ERR_INVALID_NOTE, "damaged view format");
}

// Reads from the front of the value; what it does not have is damage.
class FormatReader {
 public:
  explicit FormatReader(std::span<const BYTE> rest) : rest_(rest) {}

  template <typename Structure>
  Structure take(WORD type) {
    const std::span<const BYTE> bytes = take(std::size_t{ODSLength(type)});
    const BYTE* place = bytes.data();
    Structure structure{};
    ODSReadMemory(&place, type, &structure, 1);
    return structure;
  }
  std::string text(std::size_t size) {
    const std::span<const BYTE> bytes = take(size);
    return {bytes.begin(), bytes.end()};
  }

 private:
  std::span<const BYTE> take(std::size_t size) {
    if (size > rest_.size()) damaged();
    const std::span<const BYTE> taken = rest_.first(size);
    rest_ = rest_.subspan(size);
    return taken;
  }

  std::span<const BYTE> rest_;
};

std::vector<ViewColumn> columnsOf(std::span<const BYTE> value) {
  FormatReader reader(value);
  const auto table = reader.take<VIEW_TABLE_FORMAT>(ODS_VIEW_TABLE_FORMAT);
  if (table.Header.Version != VIEW_FORMAT_VERSION ||
      (table.Header.ViewStyle & VIEW_CLASS_MASK) != VIEW_CLASS_TABLE)
    throw StatusError(NotSupportedYet, "view that is no table");
  std::vector<VIEW_COLUMN_FORMAT> formats;
  for (WORD i = 0; i < table.Columns; ++i)
    formats.push_back(reader.take<VIEW_COLUMN_FORMAT>(ODS_VIEW_COLUMN_FORMAT));
  std::vector<ViewColumn> columns;
  for (const VIEW_COLUMN_FORMAT& format : formats) {
    if (format.Signature != VIEW_COLUMN_FORMAT_SIGNATURE) damaged();
    ViewColumn& column = columns.emplace_back();
    column.item = reader.text(format.ItemNameSize);
    column.title = reader.text(format.TitleSize);
    column.formula = reader.text(format.FormulaSize);
    reader.text(format.ConstantValueSize);
    column.flags = format.Flags1;
    column.width = format.DisplayWidth;
  }
  return columns;
}

}  // namespace

bool ViewColumn::showsSize() const {
  return sameName(formula, SizeFormula);
}

std::vector<BYTE> viewFormat(std::span<const ViewColumn> columns) {
  constexpr FONTID plain = 0x0A000001;  // 10 points, black, plain, sans serif
  std::vector<BYTE> bytes;
  VIEW_TABLE_FORMAT table = {};
  table.Header.Version = VIEW_FORMAT_VERSION;
  table.Header.ViewStyle = VIEW_CLASS_TABLE;
  table.Columns = table.ItemSequenceNumber = static_cast<WORD>(columns.size());
  append(bytes, ODS_VIEW_TABLE_FORMAT, table);
  for (const ViewColumn& column : columns) {
    VIEW_COLUMN_FORMAT format = {};
    format.Signature = VIEW_COLUMN_FORMAT_SIGNATURE;
    format.Flags1 = column.flags;
    format.ItemNameSize = static_cast<WORD>(column.item.size());
    format.TitleSize = static_cast<WORD>(column.title.size());
    format.FormulaSize = static_cast<WORD>(column.formula.size());
    format.DisplayWidth = column.width;
    format.FontID = plain;
    append(bytes, ODS_VIEW_COLUMN_FORMAT, format);
  }
  for (const ViewColumn& column : columns) {
    for (const std::string* text : {&column.item, &column.title, &column.formula})
      bytes.insert(bytes.end(), text->begin(), text->end());
  }
  return bytes;
}

ViewDesign viewDesign(std::span<const NoteItem> items) {
  const auto format = std::find_if(items.begin(), items.end(), [](const NoteItem& item) {
    return item.type == TYPE_VIEW_FORMAT && sameName(item.name, ViewFormatItem);
  });
  if (format == items.end()) throw StatusError(ERR_ITEM_NOT_FOUND, "no view format");
  ViewDesign design;
  design.folder = hasDesignFlag(items, 'F');
  if (!design.folder) {
    for (const std::string_view text : textsOf(items, ViewSelectionItem)) design.form = text;
  }
  design.columns = columnsOf(format->value);
  return design;
}

std::vector<std::string_view> textsOf(std::span<const NoteItem> items, std::string_view name) {
  for (const NoteItem& item : items) {
    if (sameName(item.name, name)) return texts({item.type, item.value});
  }
  return {};
}

bool hasDesignFlag(std::span<const NoteItem> items, char flag) {
  const std::vector<std::string_view> flags = textsOf(items, "$Flags");
  return std::any_of(flags.begin(), flags.end(), [flag](std::string_view text) {
    return text.find(flag) != std::string_view::npos;
  });
}

}  // namespace simulator
