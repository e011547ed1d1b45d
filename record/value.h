// A value on its way into a record or out of one.
#pragma once

#include "base/text.h"
#include "record/field.h"

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

constexpr bool isTextForm(Form form) { return form == Form::Text || form == Form::Escaped; }
constexpr bool isRealForm(Form form) { return form >= Form::Real && form <= Form::Real6; }

// Types that are texts. A view of such a text is valid as long as the text exists.
template <typename T>
concept Wording = std::convertible_to<const std::remove_cvref_t<T>&, std::string_view> &&
                  !std::is_null_pointer_v<std::remove_cvref_t<T>>;

// Nothing, a whole number, a real number or a text. A text passed as a temporary is owned; of any other text the value
// is a view.
class Value {
    std::variant<std::monostate, int64_t, uint64_t, double, std::string_view, std::string> held;

    // Whether a text ends with the expression that it is part of. A view does not count, because it owns no text.
    template <typename T>
    static constexpr bool Passing = !std::is_lvalue_reference_v<T> && !std::is_pointer_v<std::decay_t<T>> &&
                                    !std::is_same_v<std::remove_cvref_t<T>, std::string_view>;

public:
    Value() = default; // nothing: unknown or missing
    // NOLINTBEGIN(google-explicit-constructor,bugprone-forwarding-reference-overload): a value is what it is made from
    Value(bool) = delete;
    Value(std::signed_integral auto v) : held(static_cast<int64_t>(v)) {}
    Value(std::unsigned_integral auto v) : held(static_cast<uint64_t>(v)) {}
    Value(std::floating_point auto v) : held(static_cast<double>(v)) {}
    Value(Wording auto&& v) {
        const std::string_view view(v);
        if constexpr (Passing<decltype(v)>) held = std::string(view);
        else held = view;
    }
    template <typename T> Value(const std::optional<T>& v) {
        if (v) *this = Value(*v);
    }
    // NOLINTEND(google-explicit-constructor,bugprone-forwarding-reference-overload)

    bool isNothing() const { return std::holds_alternative<std::monostate>(held); }

    // Appends the value in the given form; appends nothing if there is no value. When value and form do not match: a
    // real number in a whole form loses its fraction and is limited to 64 bits; a number in a text form has all its
    // digits; a text or NaN in a whole form, and a text in a real form, give nothing.
    void append(std::string& out, Form form) const;

private:
    std::optional<uint64_t> whole() const; // in two's complement
    std::optional<double> real() const;
    void appendText(std::string& out, Form form) const;
};

// Whether a value of type T fits a form: texts fit text forms, whole numbers all other forms, real numbers the forms
// with decimals.
template <typename T> constexpr bool isFor(Form form) {
    if constexpr (std::integral<T>) return !std::is_same_v<T, bool> && !isTextForm(form);
    else if constexpr (std::floating_point<T>) return isRealForm(form);
    else if constexpr (Wording<T>) return isTextForm(form);
    else if constexpr (requires(T v) { *v, v.has_value(); }) return isFor<typename T::value_type>(form);
    else return false;
}

// A value for a field of a known form. A mismatch is a compile error.
template <Form form, typename T> Value valueFor(T&& v) {
    static_assert(isFor<std::remove_cvref_t<T>>(form), "this type does not belong into a field of this form");
    return Value(std::forward<T>(v));
}
