#include <gtest/gtest.h>

#include <functional>

#include "store/model/RowState.h"

namespace {

using qw::RowState;
using Kind = qw::RowWriteKind;
using State = RowState::State;

struct Row {
  const char* event;
  std::function<Kind(RowState&)> happen;
  /// What each state becomes, and what is to be written then, in the order new, clean, dirty, removed.
  State to[4];
  Kind writes[4];
};

RowState inState(State state) {
  RowState row;
  if (state != State::kNew) row.setRow(7);
  if (state == State::kDirty) row.edit(1);
  if (state == State::kRemoved) row.take(true);
  return row;
}

Kind nothing(const std::function<void()>& run) {
  run();
  return Kind::kNone;
}

TEST(RowState, EveryStateMeetsEveryEvent) {
  constexpr auto N = State::kNew, C = State::kClean, D = State::kDirty, R = State::kRemoved;
  constexpr auto none = Kind::kNone, insert = Kind::kInsert, update = Kind::kUpdate, remove = Kind::kDelete;
  const Row table[] = {
      {"edited", [](RowState& row) { return nothing([&] { row.edit(1); }); }, {N, D, D, R}, {}},
      {"an edit undone", [](RowState& row) { return nothing([&] { row.edit(-1); }); }, {N, D, C, R}, {}},
      {"forced", [](RowState& row) { return nothing([&] { row.force(); }); }, {N, D, D, R}, {}},
      {"forgotten", [](RowState& row) { return nothing([&] { row.forgetEdits(); }); }, {N, C, C, R}, {}},
      {"row lost", [](RowState& row) { return nothing([&] { row.loseRow(); }); }, {N, N, N, N}, {}},
      {"inserted", [](RowState& row) { return nothing([&] { row.setRow(9); }); }, {C, C, D, C}, {}},
      {"taken", [](RowState& row) { return row.take(false); }, {N, C, C, R}, {insert, none, update, insert}},
      {"taken deleted",
       [](RowState& row) { return row.take(true); },
       {N, R, R, R},
       {none, remove, remove, none}},
  };
  for (const Row& row : table)
    for (const State state : {N, C, D, R}) {
      RowState object = inState(state);
      ASSERT_EQ(object.state(), state);
      const auto i = static_cast<std::size_t>(state);
      EXPECT_EQ(row.happen(object), row.writes[i]) << row.event << " in state " << i;
      EXPECT_EQ(object.state(), row.to[i]) << row.event << " in state " << i;
    }
}

TEST(RowState, AWriteThatFailedIsToBeWrittenAgain) {
  for (const State state : {State::kNew, State::kClean, State::kDirty, State::kRemoved})
    for (const bool deleted : {false, true})
      for (const bool committed : {false, true}) {
        RowState row = inState(state);
        const RowState former = row;
        const Kind kind = row.take(deleted);
        if (kind == Kind::kInsert) row.setRow(9);
        row.edit(1);  // meanwhile
        row.revert(kind, former, committed);
        if (kind == Kind::kNone) continue;
        EXPECT_EQ(row.edits(), 1 + (kind == Kind::kInsert ? 0 : former.edits()));
        const bool isThere = kind == Kind::kInsert ? committed : kind == Kind::kDelete ? !committed : true;
        const Kind next = deleted   ? isThere ? Kind::kDelete : Kind::kNone
                          : isThere ? Kind::kUpdate
                                    : Kind::kInsert;
        EXPECT_EQ(row.take(deleted), next) << static_cast<int>(state) << deleted << committed;
      }
}

}  // namespace
