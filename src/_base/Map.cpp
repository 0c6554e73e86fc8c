#include "_base/Map.h"

namespace zv {

template class Map<StringT<wchar_t>, StringT<wchar_t>>;
template class Map<StringT<wchar_t>, std::int64_t>;
template class Map<StringT<wchar_t>, IList<StringT<wchar_t>>*>;

}  // namespace zv
