// Text keys of the database.
#include <stdio.h>

#include "hqos.h"
#include "platform/text.h"

// The widths of the scan formats.
static_assert(HQOS_APPOBJ_NAME_SIZE == 47 + 1);
static_assert(HQOS_NAME_SIZE == 31 + 1);

uint32_t HQOS_dbmtype_EncapIfRunKey(uint32_t layer, uint32_t secondNumber, uint32_t firstNumber,
                                    char* key) {
  const char* const name = layer == 1 ? "SP" : layer == 2 ? "L1" : "L2";
  return static_cast<uint32_t>(
      scnprintf(key, HQOS_DBKEY_SIZE, "IFRUN-%u-%u-%s", firstNumber, secondNumber, name));
}

// The layer's name comes after the numbers and is ignored.
void HQOS_dbmtype_DecapIfRunKey(uint32_t, const char* key, uint32_t* secondNumber,
                                uint32_t* firstNumber) {
  *firstNumber = *secondNumber = 0;
  sscanf(key, "IFRUN-%u-%u", firstNumber, secondNumber);
}

void HQOS_dbmtype_DecapIfCfgKey(const char* key, char* name, uint32_t* number) {
  *number = 0;
  name[0] = '\0';
  sscanf(key, "IFCFG-%u-%47s", number, name);
}

int HQOS_dbmtype_DecapNestKey(uint32_t kind, const char* key, char* name) {
  return kind == 1 ? sscanf(key, "SP-nest-%31[^\r\n]", name)
                   : sscanf(key, "FG-nest-%31[^\r\n]", name);
}
