/* A first look at nexkernel's vector math from C: set the mode, call a few
 * entries, and read the dispatch table a service layer would use. */
#include <stdio.h>

#include "nexkernel.h"

int main(void) {
  float a[6] = {-2.5f, -0.5f, 0.5f, 1.5f, 2.5f, 3.75f};
  float b[6] = {1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f};
  float r[6];
  unsigned int old = _vtmSetMode(VTM_EP | VTM_ERRMODE_ERRNO);

  printf("mode was 0x%X, now 0x%X; table slot for this mode: %d\n", old, _vtmGetMode(),
         nex_vtm_kernel_GetTTableIndex());

  _vtmsAdd(6, a, b, r);
  printf("a + b      :");
  for (int i = 0; i < 6; ++i) printf(" %6.2f", r[i]);
  _vtmsRound(6, a, r);
  printf("\nround(a)   :");
  for (int i = 0; i < 6; ++i) printf(" %6.2f", r[i]);
  _vtmsFloor(6, a, r);
  printf("\nfloor(a)   :");
  for (int i = 0; i < 6; ++i) printf(" %6.2f", r[i]);

  /* A layer above picks the kernel by the mode's accuracy from the table. */
  typedef void (*unary)(int, const float*, float*);
  unary abs_kernel = (unary)nex_vtm_kernel_sAbs_ttab.slot[nex_vtm_kernel_GetTTableIndex()];
  abs_kernel(6, a, r);
  printf("\n|a|        :");
  for (int i = 0; i < 6; ++i) printf(" %6.2f", r[i]);

  /* Gather every second element. */
  float packed[3];
  _vtmsPackI(3, a, 2, packed);
  printf("\na[0:6:2]   : %6.2f %6.2f %6.2f\n", packed[0], packed[1], packed[2]);

  /* A random stream: five uniform numbers on [10, 20) from MRG32k3a. */
  VrsStream* stream = NULL;
  const uint32_t seed = 12345;
  double u[5];
  if (__vrsNewStreamEx(&stream, VRS_BRNG_MRG32K3A, 1, &seed) == 0 &&
      _vrsdRngUniform(0, stream, 5, u, 10.0, 20.0) == 0) {
    printf("uniform    :");
    for (int i = 0; i < 5; ++i) printf(" %6.3f", u[i]);
    printf("\n");
  }
  __vrsDeleteStream(&stream);
  return 0;
}
