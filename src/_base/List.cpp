#include "_base/List.h"

namespace zv {

template class List<StringT<wchar_t>>;

}  // namespace zv
