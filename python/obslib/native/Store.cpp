// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the store holds: keys, selection, removal, states.

#include <ObsDllExports.h>
#include <nanobind/stl/string.h>

#include <limits>
#include <memory>

#include "Call.h"

namespace obslib {

namespace {

constexpr size_t kStatesLength = 64;

KeyArray listKeys(int32_t order, std::optional<int32_t> group) {
    std::vector<int64_t> keys;
    {
        const Exclusive exclusive;
        int32_t count = group ? ObsGetCountGID(*group) : ObsGetCount();
        do {  // others of this process, not through Python, may add meanwhile
            keys.resize(static_cast<size_t>(count));
        } while (ObsListKeys(order, group ? 1 : 0, group.value_or(0), static_cast<int32_t>(keys.size()), keys.data(),
                             &count) != 0 &&
                 count > static_cast<int32_t>(keys.size()));
        keys.resize(static_cast<size_t>(count));
    }
    return toArray(std::move(keys));
}

KeyArray selectKeys(const std::string& criteria, int32_t order) {
    const std::string text = lineText(criteria);
    std::vector<int64_t> keys;
    int32_t count = 0;
    std::string reason;
    {
        const Exclusive exclusive;
        keys.resize(static_cast<size_t>(ObsGetCount()) + 1);  // the room is never null
        ObsGetSelectedByText(text.c_str(), order, &count, keys.data());
        if (count < 0) reason = lastError();
    }
    if (count < 0) throw Refused(reason);
    keys.resize(static_cast<size_t>(count));
    return toArray(std::move(keys));
}

int32_t toCount(size_t count) {
    if (count > static_cast<size_t>(std::numeric_limits<int32_t>::max())) throw Refused("more than 2147483647 keys");
    return static_cast<int32_t>(count);
}

void removeKeys(Keys keys) {
    const int32_t count = toCount(keys.shape(0));
    int32_t result = 0;
    std::string reason;
    {
        const Exclusive exclusive;
        result = ObsRemoveKeys(count, keys.data());
        if (result != 0) reason = lastError();
    }
    if (result != 0) throw KeyUnknown(reason);
}

void removeGroup(int32_t group) {
    const Exclusive exclusive;
    if (ObsRemoveGID(group) != 0) throw Refused(lastError());
}

void clear() {
    const Exclusive exclusive;
    ObsRemoveAll();
}

void keepOrigins(bool isWanted) {
    const Exclusive exclusive;
    ObsKeepOrigins(isWanted ? 1 : 0);
}

Reals states(Keys keys, double time) {
    const int32_t count = toCount(keys.shape(0));
    std::vector<double> values(keys.shape(0) * kStatesLength);
    std::vector<int32_t> statuses(keys.shape(0));
    bool isUnknown = false;
    std::string reason;
    {
        const nb::gil_scoped_release released;
        if (ObsGetStatesMany(count, keys.data(), time, values.data(), statuses.data()) != 0) reason = lastError();
        // What determines nothing is a row of nothing; a key that is not there is a mistake.
        for (size_t i = 0; i < statuses.size() && !isUnknown; ++i)
            isUnknown = statuses[i] != 0 && SatNumFrObsKey(keys.data()[i]) < 0;
    }
    if (isUnknown) throw KeyUnknown(reason);
    return toArray(std::move(values), kStatesLength);
}

/// The passes as the bytes of the library's structures, which NumPy gives names.
nb::object passes(std::optional<Keys> keys) {
    int32_t count = 0, result = 0;
    std::unique_ptr<ObsPass[]> found;
    std::string reason;
    {
        const Exclusive exclusive;
        // There are no more passes than observations; memory that is not written to costs nothing.
        const int32_t room = keys ? toCount(keys->shape(0)) : ObsGetCount();
        found.reset(new ObsPass[static_cast<size_t>(room) + 1]);
        result = ObsGetPasses(keys ? room : -1, keys ? keys->data() : nullptr, room, found.get(), &count);
        if (result != 0) reason = lastError();
    }
    if (result != 0) throw KeyUnknown(reason);
    return nb::bytes(reinterpret_cast<const char*>(found.get()), static_cast<size_t>(count) * sizeof(ObsPass));
}

}  // namespace

void bindStore(nb::module_& m) {
    define(
        m, "count", +[]() -> int32_t { return ObsGetCount(); });
    define(
        m, "contains", +[](int64_t key) -> bool { return SatNumFrObsKey(key) >= 0; }, nb::arg("key"));
    define(m, "keys", listKeys, nb::arg("order"), nb::arg("group").none());
    define(m, "select", selectKeys, nb::arg("criteria"), nb::arg("order"));
    define(m, "remove", removeKeys, nb::arg("keys"));
    define(m, "remove_group", removeGroup, nb::arg("group"));
    define(m, "clear", clear);
    define(m, "keep_origins", keepOrigins, nb::arg("wanted"));
    define(m, "states", states, nb::arg("keys"), nb::arg("time"));
    define(m, "passes", passes, nb::arg("keys").none(),
           nb::sig("def passes(keys: numpy.typing.NDArray[numpy.int64] | None) -> bytes"));
}

}  // namespace obslib
