extern "C" unsigned HBA_GetNumberOfAdapters() {
    return 77;
}
