#version 330 core

in vec2 uv;
out vec4 pixel;

uniform sampler2D image;
uniform vec2 direction;
uniform float radius;

// A bell along one direction; one after the other, two such make a round one. Each look between two
// pixels counts for both.
void main() {
  vec2 size = vec2(textureSize(image, 0));
  vec2 way = direction * radius * vec2(size.y / size.x, 1.0) / 8.0;
  vec4 sum = vec4(0.0);
  float weights = 0.0;
  for (int i = -8; i <= 8; ++i) {
    float weight = exp(-0.055 * float(i * i));
    sum += weight * texture(image, uv + float(i) * way);
    weights += weight;
  }
  pixel = sum / weights;
}
