#include "core/array/ArrayByType.h"

#include <type_traits>

#include "core/array/VectorArrayImpl.h"

namespace ostrel::core {

namespace {

template <class T>
struct TypeTag {
    using type = T;
};

// Whether Array<T,N> is one of the instances: every storage type in ranks 1 to 3, the 6-tuple
// of double in ranks 1 and 3.
template <class T, unsigned N>
constexpr bool kIsInstance = N >= 1 && N <= 3 &&
                             (!std::is_same_v<T, mtm::RigidVector<6, double>> || N != 2);

// Calls p_visit(TypeTag<T>{}) with the element type of scalar type p_scalar_type and tuple
// length p_tuple_size; false when there is none.
template <class Visit>
bool visit_element_type(ScalarType p_scalar_type, unsigned int p_tuple_size, Visit&& p_visit) {
    bool found = false;
    visit_scalar_type(p_scalar_type, [&](auto p_scalar) {
        using S = decltype(p_scalar);
        found = true;
        switch (p_tuple_size) {
            case 1:
                p_visit(TypeTag<S>{});
                break;
            case 2:
                p_visit(TypeTag<mtm::RigidVector<2, S>>{});
                break;
            case 3:
                p_visit(TypeTag<mtm::RigidVector<3, S>>{});
                break;
            case 4:
                p_visit(TypeTag<mtm::RigidVector<4, S>>{});
                break;
            case 6:
                if constexpr (std::is_same_v<S, double>) {
                    p_visit(TypeTag<mtm::RigidVector<6, double>>{});
                } else {
                    found = false;
                }
                break;
            case 8:
                if constexpr (std::is_same_v<S, unsigned int>) {
                    p_visit(TypeTag<mtm::RigidVector<8, unsigned int>>{});
                } else {
                    found = false;
                }
                break;
            default:
                found = false;
                break;
        }
    });
    return found;
}

// Calls p_visit(TypeTag<T>{}, std::integral_constant<unsigned, N>{}) for the instance named;
// false when there is none.
template <class Visit>
bool visit_array_type(ScalarType p_scalar_type, unsigned int p_tuple_size, unsigned int p_rank,
                      Visit&& p_visit) {
    bool found = false;
    visit_element_type(p_scalar_type, p_tuple_size, [&](auto p_tag) {
        using T = typename decltype(p_tag)::type;
        auto with_rank = [&](auto p_rank_constant) {
            if constexpr (kIsInstance<T, decltype(p_rank_constant)::value>) {
                p_visit(p_tag, p_rank_constant);
                found = true;
            }
        };
        switch (p_rank) {
            case 1:
                with_rank(std::integral_constant<unsigned, 1>{});
                break;
            case 2:
                with_rank(std::integral_constant<unsigned, 2>{});
                break;
            case 3:
                with_rank(std::integral_constant<unsigned, 3>{});
                break;
            default:
                break;
        }
    });
    return found;
}

template <class T>
constexpr bool kHasStorage = !std::is_same_v<T, mtm::RigidVector<6, double>>;

Handle3 to_shape(const unsigned int p_extents[3]) {
    return Handle3{{static_cast<unsigned short>(p_extents[0]),
                    static_cast<unsigned short>(p_extents[1]),
                    static_cast<unsigned short>(p_extents[2])}};
}

}  // namespace

bool has_array_instance(ScalarType p_scalar_type, unsigned int p_tuple_size, unsigned int p_rank) {
    return visit_array_type(p_scalar_type, p_tuple_size, p_rank, [](auto, auto) {});
}

std::shared_ptr<IArray> make_unbound_array(ScalarType p_scalar_type, unsigned int p_tuple_size,
                                           unsigned int p_rank) {
    std::shared_ptr<IArray> result;
    visit_array_type(p_scalar_type, p_tuple_size, p_rank, [&](auto p_tag, auto p_rank_constant) {
        using T = typename decltype(p_tag)::type;
        result = std::make_shared<Array<T, decltype(p_rank_constant)::value>>();
    });
    return result;
}

std::shared_ptr<IArray> make_array_from_factory(const IArrayImplFactory& p_factory,
                                                ScalarType p_scalar_type, unsigned int p_tuple_size,
                                                unsigned int p_rank,
                                                const unsigned int p_extents[3]) {
    std::shared_ptr<IArray> result;
    visit_array_type(p_scalar_type, p_tuple_size, p_rank, [&](auto p_tag, auto p_rank_constant) {
        using T = typename decltype(p_tag)::type;
        constexpr unsigned N = decltype(p_rank_constant)::value;
        if constexpr (N == 1) {
            result = std::make_shared<Array<T, 1>>(&p_factory, p_extents[0]);
        } else if constexpr (N == 2) {
            result = std::make_shared<Array<T, 2>>(&p_factory, p_extents[0], p_extents[1]);
        } else {
            result = std::make_shared<Array<T, 3>>(&p_factory, to_shape(p_extents));
        }
    });
    return result;
}

std::shared_ptr<IArrayImpl> make_storage_copy(ScalarType p_scalar_type, unsigned int p_tuple_size,
                                              const void* p_source, unsigned int p_count) {
    std::shared_ptr<IArrayImpl> result;
    visit_element_type(p_scalar_type, p_tuple_size, [&](auto p_tag) {
        using T = typename decltype(p_tag)::type;
        if constexpr (kHasStorage<T>) {
            const T* first = static_cast<const T*>(p_source);
            result = std::make_shared<VectorArrayImpl<T>>(first, first + p_count);
        }
    });
    return result;
}

std::shared_ptr<IArray> make_array_on(std::shared_ptr<IArrayImpl> p_storage,
                                      ScalarType p_scalar_type, unsigned int p_tuple_size,
                                      unsigned int p_rank, const unsigned int p_extents[3]) {
    std::shared_ptr<IArray> result;
    visit_array_type(p_scalar_type, p_tuple_size, p_rank, [&](auto p_tag, auto p_rank_constant) {
        using T = typename decltype(p_tag)::type;
        constexpr unsigned N = decltype(p_rank_constant)::value;
        if constexpr (N == 1) {
            result = std::make_shared<Array<T, 1>>(p_storage);
        } else if constexpr (N == 2) {
            result = std::make_shared<Array<T, 2>>(p_storage, p_extents[0]);
        } else {
            result = std::make_shared<Array<T, 3>>(p_storage, to_shape(p_extents));
        }
    });
    return result;
}

std::shared_ptr<IArrayImpl> make_storage(ScalarType p_scalar_type, unsigned int p_tuple_size,
                                         unsigned int p_count) {
    std::shared_ptr<IArrayImpl> result;
    visit_element_type(p_scalar_type, p_tuple_size, [&](auto p_tag) {
        using T = typename decltype(p_tag)::type;
        if constexpr (kHasStorage<T>) result = std::make_shared<VectorArrayImpl<T>>(p_count);
    });
    return result;
}

std::shared_ptr<IArray> share_array(const IArray& p_array) {
    std::shared_ptr<IArray> result;
    visit_array_type(
        p_array.scalar_type(), p_array.element_shape()[0], p_array.dimensions(),
        [&](auto p_tag, auto p_rank_constant) {
            using Typed = Array<typename decltype(p_tag)::type, decltype(p_rank_constant)::value>;
            if (const auto* typed = dynamic_cast<const Typed*>(&p_array)) {
                result = std::make_shared<Typed>(*typed);
            }
        });
    return result;
}

bool resize_flat(IArray& p_array, unsigned int p_NewSize) {
    bool done = false;
    visit_element_type(p_array.scalar_type(), p_array.element_shape()[0], [&](auto p_tag) {
        if (auto* flat = dynamic_cast<Array<typename decltype(p_tag)::type, 1>*>(&p_array)) {
            flat->resize(p_NewSize);
            done = true;
        }
    });
    return done;
}

bool resize_with_shape(IArray& p_array, const Handle3& p_shape) {
    bool done = false;
    visit_array_type(p_array.scalar_type(), p_array.element_shape()[0], 3, [&](auto p_tag, auto) {
        using T = typename decltype(p_tag)::type;
        if (auto* cube = dynamic_cast<Array<T, 3>*>(&p_array)) {
            cube->resize(p_shape);
            done = true;
        }
    });
    return done;
}

void array_extents(const IArray& p_array, unsigned int p_extents[3]) {
    const ArrayShape shape = p_array.shape();
    p_extents[0] = p_extents[1] = p_extents[2] = 0;
    switch (p_array.dimensions()) {
        case 1:
            p_extents[0] = shape.count();
            break;
        case 2:
            p_extents[0] = shape.m_Words[0];
            p_extents[1] = shape.m_Words[1];
            break;
        default:
            for (unsigned axis = 0; axis < 3; ++axis) p_extents[axis] = shape.extent16(axis);
            break;
    }
}

}  // namespace ostrel::core
