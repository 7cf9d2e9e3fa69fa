#include "exporters/html/BinGrid.h"

BinGrid::BinGrid(long long origin, long long end, std::size_t capacity)
    : origin_(origin), capacity_(capacity) {
  while (this->end() < end) widen();
}
