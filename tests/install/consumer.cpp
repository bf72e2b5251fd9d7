// Stores one OU through the installed library and reads it back.
#include <stdio.h>
#include <string.h>

#include <vurotarn.h>

int main() {
    VURO_TARN_OU ou;
    VUROTARNOuItemSetName(&ou, "From outside");
    if (VUROTARNOuCreate(&ou) != 0) return 1;
    VURO_TARN_OU back;
    if (VUROTARNOuGet(ou.id, &back) != 0) return 2;
    char name[64];
    VUROTARNOuItemGetName(name, sizeof(name), &back);
    printf("%ld %s\n", ou.id, name);
    return strcmp(name, "From outside") == 0 ? 0 : 3;
}
