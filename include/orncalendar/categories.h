// The calendar's named categories, each with a colour, stored in
// categor.ini in the data folder. Names compare blind to letter case (the
// Windows-1252 letters) and keep the spelling they were added with; the
// order is the order of adding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "orncalendar/fwd.h"

namespace orncal {

namespace core {
class CalendarRef;
}

struct AddCategoryOptions {
  // An RGB colour as the client uses it; -1 = no colour.
  int32_t Color = -1;
};

class Categories {
  struct Key {
    explicit Key() = default;
  };

 public:
  explicit Categories(Key);
  ~Categories();
  Categories(const Categories&) = delete;
  Categories& operator=(const Categories&) = delete;

  // An empty store of the shared calendar, without a path.
  static CategoriesPtr New();

  // Set by Add, Remove and SetColor; cleared by loading and writing.
  bool Changed() const { return changed_; }
  void SetChanged(bool value) { changed_ = value; }
  // The calendar held, or the shared one.
  CalendarPtr Calendar() const;
  bool CategoryExists(std::string_view Category) const;
  // The colour of a category. A name that is not in the store reads 0 and
  // is put into it without a colour (Count and Names then include it),
  // without setting Changed.
  int32_t Color(std::string_view Category);
  // Sets the colour (adding the name when it is missing), gives it to every
  // loaded real appointment of that category and sets Changed.
  void SetColor(std::string_view Category, int32_t value);
  // Error 457 when the name is in the store already, in any letter case.
  void Add(std::string_view Category, const AddCategoryOptions& options = {});
  // Error 5 when the name is not in the store.
  void Remove(std::string_view Category);
  int32_t Count() const { return static_cast<int32_t>(entries_.size()); }
  // Writes categor.ini when changed, then tells the other processes that
  // the categories changed (also when nothing was written).
  void Save();
  // Every name in the order of adding.
  std::vector<std::string> Names() const;

  // -- Library-internal

  // The shared calendar is held as an empty reference.
  void SetCalendar(const CalendarPtr& calendar);
  // The data folder.
  void SetPath(std::string path) { path_ = std::move(path); }
  // Reads categor.ini into an emptied store. Lines are "colour=name"; a
  // blank line is skipped; a line whose colour is not a number, or a name
  // that comes twice, ends the reading quietly with what was read so far.
  void Load();
  // The writing half of Save, without the notice. Failures are quiet.
  void SaveIfChanged();
  // Gives the colour to every real appointment of the calendar's loaded
  // month files whose category, trimmed and lower-cased, is `category`.
  void UpdateAppointmentColors(std::string_view category, int32_t color);
  // The colour of a category in the store (0 for one without a colour), or
  // nullopt: CategoryExists and Color in one look-up, changing nothing.
  std::optional<int32_t> KnownColor(std::string_view Category) const;

 private:
  struct Entry {
    std::string name;
    // nullopt: put in by a read of a missing name, never given a colour.
    std::optional<int32_t> color;
  };
  // The index of a name, or -1.
  ptrdiff_t Find(std::string_view name) const;
  void Insert(std::string name, std::optional<int32_t> color);

  std::vector<Entry> entries_;
  // Folded name -> index into entries_.
  std::unordered_map<std::string, size_t> index_;
  bool changed_ = false;
  // The last load ended early: the file holds more than the store, so the
  // next write keeps it as the backup.
  bool load_failed_ = false;
  std::string path_;
  std::unique_ptr<core::CalendarRef> calendar_;
};

}  // namespace orncal
