// Creates an SP and reads back the identifier that the service gave it.
//   cc add_sp.c $(pkg-config --cflags --libs hqos) -o add_sp && ./add_sp gold
#include <hqos.h>
#include <stdio.h>

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: add_sp NAME\n");
    return 2;
  }

  HQOS_Result result;
  if (HQOS_lib_AddSP(argv[1], HQOS_ID_NONE, &result) != 0) {
    fprintf(stderr, "no service answers\n");
    return 3;
  }
  if (result.code != 0) {
    fprintf(stderr, "refused: %s\n", result.text);
    return 1;
  }

  HQOS_SPInfo sp;
  if (HQOS_lib_GetSP(argv[1], &sp) != 0) return 1;
  printf("SP %s has identifier %u\n", sp.name, (unsigned)sp.id);
  return 0;
}
