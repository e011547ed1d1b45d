// How the lines of a kind become rows: which cell of a line is which member of the row, by the names in the log's head.
// A plan is made once for each kind and head. Lines are then read in one pass, and rows are used again with the memory
// that their texts have.
#pragma once

#include "record/kind.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <variant>
#include <vector>

class RowPlan {
    enum class Type : uint8_t { None, Text, Letter, Flag, Whole, Signed, Real, MayWhole, MaySigned, MayReal };
    struct Step { // what becomes of one cell
        Type type = Type::None;
        bool identity = false;
        uint32_t at = 0; // of the member in the row
    };
    std::vector<Step> steps;   // by cell, from the fourth on
    std::vector<Step> missing; // members that the log does not have
    bool identified = false;   // the kind has an identity

    static Type typeOf(const ConstSlot& slot);
    template <typename F> static bool visit(const Step& step, std::byte* row, const std::byte* none, const F& f);
    void place(Step step, size_t cell);

public:
    static constexpr size_t FirstCell = 3; // kind, time and seconds come before
    RowPlan() = default;
    // `places`: the cell of each member, or NoCell.
    template <typename Kind> RowPlan(const Kind& kind, std::span<const size_t> places) {
        const typename Kind::Row row{};
        const auto bytesOf = [](const auto* object) { return reinterpret_cast<const std::byte*>(object); };
        size_t i = 0;
        for (auto& member : kind.members) {
            const auto slot = member.in(row);
            const auto at = std::visit(bytesOf, slot) - bytesOf(&row);
            identified |= member.role == Role::Id;
            place({typeOf(slot), member.role == Role::Id, static_cast<uint32_t>(at)}, places[i++]);
        }
    }
    // Reads the cells that follow the seconds into a row of the plan's kind. A member without a value gets that of
    // `none`, a row that nothing was read into.
    RowRead read(std::string_view cells, void* row, const void* none) const;
};
