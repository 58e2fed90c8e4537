namespace quel {}
