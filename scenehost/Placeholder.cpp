// placeholder until the scene host lands
namespace { int placeholder; }
