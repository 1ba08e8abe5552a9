// Application objects of every type, and their bytes.
#pragma once

#include <cstring>
#include <string>

#include "hqos.h"
#include "tests/bytes.h"

namespace wire {

struct ObjCase {
  uint32_t type, value;
  std::string name;
  Bytes sent;
  uint32_t read;
};
inline const std::string kLongName(60, 'n');
inline const ObjCase kObjCases[] = {
    {1, 0x12345, "", Hex("00000001 00002345 01020304") + Bytes(48), 0x2345},
    {2, 0x12345, "a", Hex("00000002 00002345 01020304") + Field("a", 48), 0x2345},
    {3, 0x12345, "b", Hex("00000003 00000000 01020304") + Field("b", 48), 0},
    {4, 0x12345, kLongName, Hex("00000004 00012345 01020304") + Field(kLongName.substr(0, 47), 48),
     0x12345},
    {5, 0x12345, "c", Hex("00000005 00000000 01020304") + Field("c", 48), 0},
};

inline HQOS_AppObj Object(const ObjCase& c) {
  HQOS_AppObj obj;
  memset(&obj, 0xEE, sizeof obj);  // no NUL behind a name that fills its field
  obj.type = c.type;
  obj.value = c.value;
  obj.param = 0x01020304;
  c.name.copy(obj.name, sizeof obj.name);
  if (c.name.size() < sizeof obj.name) obj.name[c.name.size()] = '\0';
  return obj;
}

}  // namespace wire
