#include "progress_host.h"

int main() {
    return followProgress();
}
