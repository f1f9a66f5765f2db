#include "errors/reserve_block.h"

namespace tarvek {

void ReleaseReserveBlock() {
  delete[] gErrorBlock;
  gErrorBlock = nullptr;
}

}  // namespace tarvek
