// The model of the store's tests.
#include "store/Ledger.cpp"
